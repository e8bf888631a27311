// What the fuzz targets of containers share: a file that holds the input, and patterns that lead
// from its members to their analyzers.
#ifndef VESKA_FUZZ_FUZZFILE_H_
#define VESKA_FUZZ_FUZZFILE_H_

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/fuzzindex.h"

namespace veska::fuzz {

// Limits are far below those of the program, so that one input takes no longer than some
// milliseconds.
class FileFuzzer {
 public:
  explicit FileFuzzer(bool unicode) : unicode_(unicode) {}

  // Indexes the bytes as a file of that name with the analyzer that the name selects, and shows the
  // first records that come out of it.
  void read(const std::string& name, std::string_view bytes) {
    if (reads_++ % kReadsPerIndex == 0) renew();
    CVeskaIndex& index = *owner_->get();
    const std::string path = owner_->folder() + '/' + name;
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<long>(bytes.size()));
    const auto id = static_cast<uint32_t>(index.files->addFile(name.c_str()));
    index.files->setInfo(id, {root_, 0, static_cast<uint32_t>(bytes.size()), 0});
    CFileAnalyzer* analyzer = index.analyzerThatMatches(path.c_str());
    analyzer->indexFile(path.c_str(), id);
    showMembers(path, id);
    char* text = analyzer->fillDisplayBuffer(path.c_str(), id, kShownBytes, 80, true);
    std::free(text);
  }

 private:
  static constexpr int kReadsPerIndex = 1000;  // before the tables are made afresh
  static constexpr int kShownMembers = 4;
  static constexpr unsigned long kShownBytes = 1 << 16;

  void renew() {
    owner_ = std::make_unique<FuzzIndex>(unicode_);
    CVeskaIndex& index = *owner_->get();
    index.temporaryDirectory = owner_->folder() + "/temp";
    std::filesystem::create_directory(index.temporaryDirectory);
    index.maxPerFileRead = 1 << 18;
    index.maxMemberBytes = 1 << 18;
    index.maxArchiveBytes = 1 << 20;
    index.maxNesting = 8;
    const std::pair<const char*, const char*> patterns[] = {
        {"*.zip", "zip"},   {"*.tar", "tar"},   {"*.gz", "gzip"}, {"*.tgz", "gzip"},
        {"*.mbox", "mbox"}, {"*.html", "html"}, {"*.rtf", "rtf"}, {"*", "generic"}};
    index.setIncludeCount(static_cast<int>(std::size(patterns)));
    int slot = 0;
    for (const auto& [pattern, analyzer] : patterns) {
      index.setIncludePattern(slot++, pattern, analyzer);
    }
    root_ = static_cast<uint32_t>(index.files->addFile(owner_->folder().c_str()));
  }

  void showMembers(const std::string& path, uint32_t container) {
    CVeskaIndex& index = *owner_->get();
    int left = kShownMembers;
    for (unsigned long id = container; id != 0 && left != 0; id = index.files->getNext(id)) {
      const std::vector<uint32_t> way = wayDown(container, static_cast<uint32_t>(id));
      if (way.empty()) continue;
      size_t levels = 0;
      const std::string copy = index.extractNested(path.c_str(), way, &levels);
      if (!copy.empty()) std::filesystem::remove(copy);
      --left;
    }
  }

  // The records from one within the container down to this one.
  std::vector<uint32_t> wayDown(uint32_t container, uint32_t id) const {
    std::vector<uint32_t> way;
    for (; id != container && id != 0; id = owner_->get()->files->info(id).parent) {
      way.insert(way.begin(), id);
    }
    return id == container ? way : std::vector<uint32_t>();
  }

  const bool unicode_;
  std::unique_ptr<FuzzIndex> owner_;
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

#endif  // VESKA_FUZZ_FUZZFILE_H_
