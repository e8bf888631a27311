// From the codes of a font's characters to the text that they stand for: mostly one code point
// each, sometimes several (a ligature, a whole syllable).

#ifndef VESKA_ANALYZERS_PDF_TEXTMAP_H_
#define VESKA_ANALYZERS_PDF_TEXTMAP_H_

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace veska::pdf {

class TextMap {
 public:
  // The last text that is set for a code holds. At most kMaxLength code points are kept.
  void set(uint32_t code, std::u32string_view text);

  // Empty when nothing was set. Valid until the next call of set.
  std::u32string_view operator[](uint32_t code) const;

  bool empty() const { return empty_; }

  // About how much memory it takes, in bytes.
  size_t memory() const {
    return blockCount_ * sizeof(Block) + longCodes_.size() * 64 + pool_.size() * 4;
  }

  static constexpr size_t kMaxLength = 32;

 private:
  using Block = std::array<char32_t, 256>;
  // Values from here on are positions in pool_: a length, and so many code points.
  static constexpr char32_t kPooled = 0x80000000;

  std::u32string_view view(const char32_t& value) const;

  std::array<std::unique_ptr<Block>, 256> blocks_;  // codes of two bytes, by the first of them
  std::map<uint32_t, char32_t> longCodes_;
  std::vector<char32_t> pool_;
  size_t blockCount_ = 0;
  bool empty_ = true;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_TEXTMAP_H_
