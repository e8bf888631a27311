#include "tests/support/leakcheck.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace veska::test {

namespace {

void addDescriptors(std::vector<std::string>& resources) {
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // the descriptor of this very walk, once it is closed
    const fs::path target = fs::read_symlink(entry.path(), gone);
    if (!gone && target.filename() != "fd") resources.push_back("open: " + target.string());
  }
}

// Mapped files, each counted once: its sections move and merge as pages are protected. Shared
// libraries and the tables of iconv are not of interest, as the first use of some function may load
// them for good.
void addMappings(std::vector<std::string>& resources) {
  std::vector<std::string> mapped;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    const auto slash = line.find('/');
    if (slash == std::string::npos || line.find(".so", slash) != std::string::npos ||
        line.find("/gconv", slash) != std::string::npos) {
      continue;
    }
    mapped.push_back("mapped: " + line.substr(slash));
  }
  std::sort(mapped.begin(), mapped.end());
  mapped.erase(std::unique(mapped.begin(), mapped.end()), mapped.end());
  resources.insert(resources.end(), mapped.begin(), mapped.end());
}

}  // namespace

std::vector<std::string> openResources() {
  std::vector<std::string> resources;
  addDescriptors(resources);
  addMappings(resources);
  std::sort(resources.begin(), resources.end());
  return resources;
}

void LeakCheckedTest::SetUp() {
  dir_ = std::make_unique<TempDir>();
  fs::create_directory(engineTemp());
  before_ = openResources();
}

void LeakCheckedTest::TearDown() {
  const std::vector<std::string> after = openResources();
  std::vector<std::string> left;
  std::set_difference(after.begin(), after.end(), before_.begin(), before_.end(),
                      std::back_inserter(left));
  for (const std::string& resource : left) ADD_FAILURE() << "left over, " << resource;
  if (fs::exists(engineTemp())) {
    for (const std::string& name : listTree(engineTemp())) {
      ADD_FAILURE() << "left over, temporary file: " << name;
    }
  }
  dir_.reset();
}

}  // namespace veska::test
