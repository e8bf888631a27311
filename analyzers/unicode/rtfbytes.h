// The bytes of an RTF document, one by one or in runs.

#ifndef VESKA_ANALYZERS_UNICODE_RTFBYTES_H_
#define VESKA_ANALYZERS_UNICODE_RTFBYTES_H_

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

class RtfBytes {
 public:
  static constexpr int kEnd = -1;

  explicit RtfBytes(ByteInput& input)
      : input_(input), block_(std::make_unique_for_overwrite<char[]>(kBlockBytes)) {}

  int peek() { return fill() ? static_cast<unsigned char>(block_[at_]) : kEnd; }
  int next() { return fill() ? static_cast<unsigned char>(block_[at_++]) : kEnd; }

  // Bytes up to the next that has a meaning, as far as they are at hand.
  std::string_view run() {
    const size_t from = at_;
    while (at_ < end_ && std::strchr("\\{}\r\n\t", block_[at_]) == nullptr) ++at_;
    return {block_.get() + from, at_ - from};
  }

  void skip(uint64_t bytes) {
    while (bytes != 0 && fill()) {
      const size_t count = static_cast<size_t>(std::min<uint64_t>(bytes, end_ - at_));
      at_ += count;
      bytes -= count;
    }
  }

 private:
  static constexpr size_t kBlockBytes = 65536;

  bool fill() {
    if (at_ < end_) return true;
    at_ = 0;
    end_ = input_.read(block_.get(), kBlockBytes);
    return end_ != 0;
  }

  ByteInput& input_;
  std::unique_ptr<char[]> block_;
  size_t at_ = 0;
  size_t end_ = 0;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_RTFBYTES_H_
