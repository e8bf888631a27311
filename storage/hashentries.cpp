#include "storage/hashentries.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "storage/bytes.h"

namespace {

constexpr uint32_t kHashEntriesMagic = 12340001;
constexpr uint32_t kPieceEntries = 1 << 16;

}  // namespace

uint32_t boundedLength(const char* stored, uint32_t bound) {
  const void* end = std::memchr(stored, 0, bound);
  return end ? static_cast<uint32_t>(static_cast<const char*>(end) - stored) : bound;
}

bool readU32(FILE* stream, uint32_t& value) {
  char word[4];
  if (std::fread(word, sizeof word, 1, stream) != 1) return false;
  value = loadU32(word);
  return true;
}

bool writeU32(FILE* stream, uint32_t value) {
  char word[4];
  storeU32(word, value);
  return std::fwrite(word, sizeof word, 1, stream) == 1;
}

bool readHashEntriesHead(FILE* stream, uint32_t& count) {
  uint32_t magic = 0;
  return readU32(stream, magic) && magic == kHashEntriesMagic && readU32(stream, count) &&
         count != 0;
}

// The array grows with what the stream really holds, a piece at a time, whatever the count claims.
std::unique_ptr<uint32_t[]> readHeads(FILE* stream, uint32_t count) {
  std::unique_ptr<uint32_t[]> heads;
  uint64_t capacity = 0;
  for (uint64_t have = 0; have < count;) {
    if (have == capacity) {
      capacity = std::min<uint64_t>(std::max<uint64_t>(4 * capacity, kPieceEntries), count);
      auto larger = std::make_unique_for_overwrite<uint32_t[]>(capacity);
      std::copy_n(heads.get(), have, larger.get());
      heads = std::move(larger);
    }
    const size_t got = std::fread(&heads[have], sizeof(uint32_t), capacity - have, stream);
    if (got != capacity - have) return nullptr;
    have = capacity;
  }
  return heads;
}

std::unique_ptr<uint32_t[]> readHashEntries(FILE* stream, unsigned long& count) {
  count = 0;
  uint32_t claimed = 0;
  if (!readHashEntriesHead(stream, claimed)) return nullptr;
  std::unique_ptr<uint32_t[]> heads = readHeads(stream, claimed);
  if (heads) count = claimed;
  return heads;
}

bool writeHashEntries(FILE* stream, const uint32_t* heads, uint32_t count) {
  return writeU32(stream, kHashEntriesMagic) && writeU32(stream, count) &&
         std::fwrite(heads, sizeof(uint32_t), count, stream) == count;
}
