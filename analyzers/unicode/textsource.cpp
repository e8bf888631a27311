#include "analyzers/unicode/textsource.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace veska::unicode {

void FileInput::seek(uint64_t offset) {
  file_.seek(std::min<uint64_t>(offset, std::numeric_limits<int64_t>::max()));
}

size_t MemoryInput::read(char* to, size_t bytes) {
  const size_t count = std::min(bytes, bytes_.size() - position_);
  if (count != 0) std::memcpy(to, bytes_.data() + position_, count);
  position_ += count;
  return count;
}

void MemoryInput::seek(uint64_t offset) {
  position_ = static_cast<size_t>(std::min<uint64_t>(offset, bytes_.size()));
}

PeekedInput::PeekedInput(ByteInput& input) : input_(input) {
  if (auto* peeked = dynamic_cast<PeekedInput*>(&input); peeked != nullptr && peeked->taken_ == 0) {
    head_ = peeked->head_;
    peeked->taken_ = head_.size();
    return;
  }
  own_ = std::make_unique_for_overwrite<char[]>(kHeadBytes);
  head_ = std::string_view(own_.get(), input.read(own_.get(), kHeadBytes));
}

size_t PeekedInput::read(char* to, size_t bytes) {
  const size_t fromHead = std::min(bytes, head_.size() - taken_);
  std::memcpy(to, head_.data() + taken_, fromHead);
  taken_ += fromHead;
  if (fromHead == bytes) return bytes;
  return fromHead + input_.read(to + fromHead, bytes - fromHead);
}

void PeekedInput::seek(uint64_t offset) {
  taken_ = static_cast<size_t>(std::min<uint64_t>(offset, head_.size()));
  input_.seek(std::max<uint64_t>(offset, head_.size()));
}

}  // namespace veska::unicode
