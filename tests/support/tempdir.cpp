#include "tests/support/tempdir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace veska::test {

TempDir::TempDir() : path_(fs::canonical(fs::temp_directory_path()) / "veska-test-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) {
    throw std::runtime_error("cannot create " + path_);
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempDir::operator/(std::string_view name) const {
  return path_ + "/" + std::string(name);
}

void writeFile(const std::string& path, std::string_view bytes) {
  std::error_code ignored;
  fs::create_directories(fs::path(path).parent_path(), ignored);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) ADD_FAILURE() << "cannot write " << path;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) ADD_FAILURE() << "cannot read " << path;
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> listTree(const std::string& folder) {
  std::vector<std::string> entries;
  std::error_code error;
  for (fs::recursive_directory_iterator it(folder, error), end; !error && it != end;
       it.increment(error)) {
    entries.push_back(it->path().lexically_relative(folder));
  }
  if (error) ADD_FAILURE() << "cannot list " << folder << ": " << error.message();
  std::sort(entries.begin(), entries.end());
  return entries;
}

}  // namespace veska::test
