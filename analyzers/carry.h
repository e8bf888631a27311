// What the character hooks share: text that the end of a block cuts is left in the index's carry
// area.

#ifndef VESKA_ANALYZERS_CARRY_H_
#define VESKA_ANALYZERS_CARRY_H_

#include <algorithm>
#include <cstring>
#include <string_view>

#include "index/index.h"

// Leaves text, cut to what the carry area holds.
inline void carryText(CVeskaIndex& index, std::string_view text) {
  const size_t bytes = std::min(text.size(), sizeof index.pendingWord - 1);
  std::memcpy(index.pendingWord, text.data(), bytes);
  index.pendingWord[bytes] = '\0';
}

// With so few bytes after a character of display text, the hooks look no further: the next block
// begins with these bytes, so that no markup is cut.
// Deliberate: the last ten bytes of a file are never shown.
constexpr unsigned long kCarriedRemainder = 9;

// Carries the character at *cursor and all that follows when that is little. Result: it was.
inline bool carryBlockEnd(CVeskaIndex& index, char** cursor, unsigned long* remaining) {
  if (*remaining > kCarriedRemainder) return false;
  carryText(index, std::string_view(*cursor, *remaining + 1));
  *cursor += *remaining + 1;
  *remaining = 0;
  return true;
}

#endif  // VESKA_ANALYZERS_CARRY_H_
