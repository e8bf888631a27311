// What the targets share that feed analyzers: one index in a folder of its own, and one way to hand
// a block to every hook.
#ifndef VESKA_FUZZ_FUZZINDEX_H_
#define VESKA_FUZZ_FUZZINDEX_H_

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "analyzers/fileanalyzer.h"
#include "api/veskalib.h"
#include "index/index.h"

namespace veska::fuzz {

// In memory where the system has a folder for that.
inline std::filesystem::path topFolder() {
  const char* const memory = "/dev/shm";
  return std::filesystem::is_directory(memory) ? memory : std::filesystem::temp_directory_path();
}

// Removes its folder when the program ends.
class FuzzIndex {
 public:
  explicit FuzzIndex(bool unicode = false) : folder_(topFolder() / "veska-fuzz-XXXXXX") {
    if (mkdtemp(folder_.data()) == nullptr) std::abort();
    // So deep that its configuration directory is the folder.
    const std::string indexPath = folder_ + "/a/b/index/";
    std::filesystem::create_directories(indexPath);
    index_ = vCreateNewIndex(true, indexPath.c_str());
    if (index_ == nullptr) std::abort();
    vidxSetUnicode(index_, unicode);
    for (int b = 1; b < 256; ++b) {
      const bool letter = (b < 128 && isalnum(b) != 0) || b >= 0xC0;
      vidxSetValidCharMask(index_, b, letter);
      vidxSetValidTrailingMask(index_, b, b == '\'');
      vidxSetValidViewableMask(index_, b, b > ' ' && b != '#' && (b < 127 || b >= 0xA0));
      vidxSetNonAlphaCharMask(index_, b, b < 0xA0 && !letter && b > ' ');
    }
    vidxSetMinWordLength(index_, 1);
    vidxSetMaxWordLength(index_, 8);
    vidxCreateAnalyzers(index_);
    vidxNewFileLinks(index_);
  }
  ~FuzzIndex() {
    vidxClearIndex(index_);
    std::filesystem::remove_all(folder_);
  }

  FuzzIndex(const FuzzIndex&) = delete;
  FuzzIndex& operator=(const FuzzIndex&) = delete;

  const std::string& folder() const { return folder_; }
  CVeskaIndex* get() const { return index_; }
  CFileAnalyzer& analyzer(const char* name) { return *index_->analyzerNamed(name); }

  // Before the tables grow without end.
  void forgetWords() {
    if (index_->wordsIndexed < 100000) return;
    vidxEmptyIndex(index_);
    vidxNewFileLinks(index_);
  }

 private:
  std::string folder_;
  CVeskaIndex* index_;
};

// Indexes and shows the bytes as one block, then shows them as blocks of a size taken from them, in
// buffers without a byte to spare.
inline void feed(const char* name, const uint8_t* data, size_t size) {
  static FuzzIndex index;
  index.forgetWords();
  if (size < 2) return;
  CFileAnalyzer& analyzer = index.analyzer(name);
  const bool option = (data[0] & 1) != 0;
  const int lineWidth = data[0] >> 1;
  const size_t blockBytes = data[1] + 1u;
  data += 2;
  size -= 2;

  const auto copy = [&](size_t begin, size_t bytes) {
    auto block = std::make_unique<char[]>(bytes);
    if (bytes != 0) std::memcpy(block.get(), data + begin, bytes);
    return block;
  };
  analyzer.indexBuffer(copy(0, size).get(), size, 100, true);
  int state = 0;
  for (size_t begin = 0; begin < size; begin += blockBytes) {
    const size_t bytes = std::min(blockBytes, size - begin);
    const auto out = std::make_unique<char[]>(bytes + 1);
    const unsigned long made =
        analyzer.stripBuffer(copy(begin, bytes).get(), bytes, out.get(), bytes + 1, lineWidth,
                             option, begin == 0, &state);
    if (std::strlen(out.get()) != made) std::abort();
  }
}

}  // namespace veska::fuzz

#endif  // VESKA_FUZZ_FUZZINDEX_H_
