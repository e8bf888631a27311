#include "analyzers/pdf/textmap.h"

namespace veska::pdf {

void TextMap::set(uint32_t code, std::u32string_view text) {
  text = text.substr(0, kMaxLength);
  char32_t value = 0;
  if (text.size() == 1) {
    value = text[0];
  } else if (!text.empty()) {
    value = kPooled | static_cast<char32_t>(pool_.size());
    pool_.push_back(static_cast<char32_t>(text.size()));
    pool_.insert(pool_.end(), text.begin(), text.end());
  }
  empty_ = empty_ && value == 0;
  if (code > 0xFFFF) {
    longCodes_[code] = value;
    return;
  }
  std::unique_ptr<Block>& block = blocks_[code >> 8];
  if (!block) {
    block = std::make_unique<Block>(Block{});
    ++blockCount_;
  }
  (*block)[code & 0xFF] = value;
}

std::u32string_view TextMap::view(const char32_t& value) const {
  if (value == 0) return {};
  if (value < kPooled) return {&value, 1};
  const size_t at = value & ~kPooled;
  return {pool_.data() + at + 1, pool_[at]};
}

std::u32string_view TextMap::operator[](uint32_t code) const {
  if (code <= 0xFFFF) {
    const std::unique_ptr<Block>& block = blocks_[code >> 8];
    return block ? view((*block)[code & 0xFF]) : std::u32string_view();
  }
  const auto found = longCodes_.find(code);
  return found == longCodes_.end() ? std::u32string_view() : view(found->second);
}

}  // namespace veska::pdf
