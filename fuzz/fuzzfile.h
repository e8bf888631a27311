// What the fuzz targets of document readers share: an index in a folder of its own, and a file that
// holds the input.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "analyzers/fileanalyzer.h"
#include "index/index.h"

namespace veska::fuzz {

// Limits are far below those of the program, so that one input takes no longer than some
// milliseconds.
class FileFuzzer {
 public:
  explicit FileFuzzer(bool unicode) : unicode_(unicode) {
    const bool inMemory = std::filesystem::is_directory("/dev/shm");
    std::string name = std::string(inMemory ? "/dev/shm" : "/tmp") + "/veska-fuzz-XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    folder_ = name;
    std::filesystem::create_directory(folder_ + "/index");
    std::filesystem::create_directory(folder_ + "/temp");
    reset();
  }
  ~FileFuzzer() {
    index_.reset();
    std::filesystem::remove_all(folder_);
  }
  FileFuzzer(const FileFuzzer&) = delete;
  FileFuzzer& operator=(const FileFuzzer&) = delete;

  // Indexes the bytes as a file of that name with the analyzer that the name selects, and shows the
  // first records that come out of it.
  void read(const std::string& name, std::string_view bytes) {
    if (++reads_ % kReadsPerIndex == 0) reset();
    const std::string path = folder_ + '/' + name;
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
    const auto id = static_cast<uint32_t>(index_->files->addFile(name.c_str()));
    index_->files->setInfo(id, {root_, 0, static_cast<uint32_t>(bytes.size()), 0});
    CFileAnalyzer* analyzer = index_->analyzerThatMatches(path.c_str());
    analyzer->indexFile(path.c_str(), id);
    showMembers(path, id);
    char* text = analyzer->fillDisplayBuffer(path.c_str(), id, kShownBytes, 80, true);
    std::free(text);
  }

 private:
  static constexpr int kReadsPerIndex = 1000;  // before the tables are made afresh
  static constexpr int kShownMembers = 4;
  static constexpr unsigned long kShownBytes = 1 << 16;

  void reset() {
    index_ = std::make_unique<CVeskaIndex>(true, folder_ + "/index/");
    index_->unicode = unicode_;
    index_->newFileLinks();
    index_->temporaryDirectory = folder_ + "/temp";
    index_->maxPerFileRead = 1 << 18;
    index_->maxMemberBytes = 1 << 18;
    index_->maxArchiveBytes = 1 << 20;
    index_->maxNesting = 8;
    for (int c = 1; c < 256; ++c) {
      index_->setValidCharMask(c, std::isalnum(c));
      index_->setValidTrailingMask(c, c == '\'');
      index_->setValidViewableMask(c, c > ' ' && c != 0x7F);
    }
    index_->createAnalyzers();
    const std::pair<const char*, const char*> patterns[] = {
        {"*.zip", "zip"},   {"*.tar", "tar"},   {"*.gz", "gzip"}, {"*.tgz", "gzip"},
        {"*.mbox", "mbox"}, {"*.html", "html"}, {"*.rtf", "rtf"}, {"*", "generic"}};
    index_->setIncludeCount(static_cast<int>(std::size(patterns)));
    int slot = 0;
    for (const auto& [pattern, analyzer] : patterns) {
      index_->setIncludePattern(slot++, pattern, analyzer);
    }
    root_ = static_cast<uint32_t>(index_->files->addFile(folder_.c_str()));
  }

  void showMembers(const std::string& path, uint32_t container) {
    int left = kShownMembers;
    for (unsigned long id = container; id != 0 && left != 0; id = index_->files->getNext(id)) {
      if (index_->files->info(static_cast<uint32_t>(id)).parent != container) continue;
      const std::string name = index_->files->getText(id);
      const std::string copy = index_->extractToTempFile(path.c_str(), name.c_str(), id);
      if (!copy.empty()) std::filesystem::remove(copy);
      --left;
    }
  }

  const bool unicode_;
  std::string folder_;
  std::unique_ptr<CVeskaIndex> index_;
  uint32_t root_ = 0;
  int reads_ = 0;
};

// Reads one input in both modes; the indexes serve all inputs of the process.
inline int readInput(const char* name, const uint8_t* data, size_t size) {
  static FileFuzzer index(false);
  static FileFuzzer unicodeIndex(true);
  for (FileFuzzer* const fuzzer : {&index, &unicodeIndex})
    fuzzer->read(name, {reinterpret_cast<const char*>(data), size});
  return 0;
}

}  // namespace veska::fuzz
