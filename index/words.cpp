#include <cstring>

#include "api/reporting.h"
#include "index/index.h"
#include "storage/bytes.h"
#include "storage/hashentries.h"

namespace {

// Zero ends texts and so can be in no class.
void setMask(bool (&mask)[256], int byte, bool on) {
  if (byte > 0 && byte < 256) mask[byte] = on;
}

bool inMask(const bool (&mask)[256], char c) { return mask[static_cast<unsigned char>(c)]; }

}  // namespace

void CVeskaIndex::setValidCharMask(int byte, bool on) { setMask(validCharMask, byte, on); }
void CVeskaIndex::setValidTrailingMask(int byte, bool on) { setMask(validTrailingMask, byte, on); }
void CVeskaIndex::setValidViewableMask(int byte, bool on) { setMask(validViewableMask, byte, on); }
void CVeskaIndex::setNonAlphaCharMask(int byte, bool on) { setMask(nonAlphaCharMask, byte, on); }

void CVeskaIndex::indexWord(const char* word, unsigned long fileId) {
  indexWord(word, std::strlen(word), hashText(word), fileId);
}

void CVeskaIndex::indexWord(const char* word, size_t length, uint32_t hash, unsigned long fileId) {
  if (length == 0) return;
  if (!wordLinks) throwVeskaError("AssertionFailed", {});
  words->requireWritable(0);
  const bool anySkipped = skipped->usedBytes() > CFileMemory::kHeaderBytes;
  if (anySkipped && skipped->lookup(word, hash)) return;
  bool added = false;
  const unsigned long id = words->lookupOrAdd(word, length, hash, added);
  if (added) ++wordsIndexed;
  auto* data = static_cast<char*>(words->getData(id));
  const auto file = static_cast<uint32_t>(fileId);
  const uint32_t last = loadU32(data + WordData::kLastFile);
  const uint16_t count = loadU16(data + WordData::kCount);
  if (last == file && last != 0) {
    if (useRanking && count < WordData::kMaxCount)
      storeU16(data + WordData::kCount, static_cast<uint16_t>(count + 1));
    return;
  }
  uint32_t handed = 0;
  if (last != 0) {
    wordLinks->addWord(last, id, static_cast<unsigned char>(count));
    handed = loadU32(data + WordData::kHanded) + 1;
  }
  storeU32(data + WordData::kHanded, handed);
  storeU16(data + WordData::kCount, 0);
  storeU32(data + WordData::kLastFile, file);
}

unsigned long CVeskaIndex::indexExcludedWord(const char* word) {
  const unsigned long id = skipped->lookup(word);
  return id ? id : skipped->addText(word);
}

void CVeskaIndex::indexExcludeBuffer(char* buffer, unsigned long length) {
  if (length == 0) return;
  char* const end = buffer + length;
  char* wordStart = buffer;
  for (char* at = buffer; at != end; ++at) {
    if (inMask(validCharMask, *at) || (at != wordStart && inMask(validTrailingMask, *at))) {
      *at = static_cast<char>(foldByte(*at));
      continue;
    }
    if (at != wordStart) {
      *at = 0;
      indexExcludedWord(wordStart);
    }
    wordStart = at + 1;
  }
  if (wordStart == end) return;
  const size_t rest =
      std::min<size_t>(static_cast<size_t>(end - wordStart), sizeof pendingWord - 1);
  std::memcpy(pendingWord, wordStart, rest);
  pendingWord[rest] = 0;
  end[-1] = 0;
}
