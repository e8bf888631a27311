// What the word table and the file table share: the hash of a text, its compare, and the saved
// bucket array.
//
// On disk, within a table's saved block (unsigned 32-bit, little-endian):
//   0  magic 12340001
//   4  bucket count B
//   8  B bucket heads: ids, 0 = empty

#ifndef VESKA_STORAGE_HASHENTRIES_H_
#define VESKA_STORAGE_HASHENTRIES_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "api/export.h"
#include "api/lowercase.h"

// One step of the table hash h = h * 33 + folded byte, the byte read as signed.
inline uint32_t hashStep(uint32_t hash, unsigned char folded) {
  return hash * 33 + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(folded)));
}

// The table hash of a text before it is taken modulo the bucket count.
// Deliberate: it ends at the first byte that folds to 0, not only at the terminating zero.
inline uint32_t hashText(const char* text) {
  uint32_t hash = 0;
  while (const unsigned char folded = foldByte(*text++)) hash = hashStep(hash, folded);
  return hash;
}

// How a stored text compares with another.
enum class TextOrder { kEqual, kDifferent, kUnterminated };

// Case folding of ASCII letters alone, the same in every locale.
inline unsigned char foldAscii(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? static_cast<unsigned char>(byte + 0x20) : byte;
}

// Compares a stored text, of which at most bound bytes may be read, with text: ASCII letters
// without regard to case when foldCase is set. kUnterminated: it runs past the bound.
inline TextOrder compareStored(const char* stored, uint32_t bound, const char* text,
                               bool foldCase) {
  for (uint32_t i = 0; i < bound; ++i) {
    if (stored[i] != text[i] && (!foldCase || foldAscii(stored[i]) != foldAscii(text[i])))
      return TextOrder::kDifferent;
    if (stored[i] == 0) return TextOrder::kEqual;
  }
  return TextOrder::kUnterminated;
}

// Length of a stored text; bound when it does not end before that.
uint32_t boundedLength(const char* stored, uint32_t bound);

// Reads the saved bucket array. Result: the ids, count of them in count; null when the magic is
// wrong, the count is 0, or the stream holds less than the count says.
VESKA_API std::unique_ptr<uint32_t[]> readHashEntries(FILE* stream, unsigned long& count);

// Its two steps: what stands before the heads, with at least one head to come; and the heads. Null
// when the stream holds fewer than count.
bool readHashEntriesHead(FILE* stream, uint32_t& count);
std::unique_ptr<uint32_t[]> readHeads(FILE* stream, uint32_t count);

// Writes it. Result: false as soon as a write falls short.
bool writeHashEntries(FILE* stream, const uint32_t* heads, uint32_t count);

bool readU32(FILE* stream, uint32_t& value);
bool writeU32(FILE* stream, uint32_t value);

#endif  // VESKA_STORAGE_HASHENTRIES_H_
