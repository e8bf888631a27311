// Words come out of the word links in the order of files; a reader wants them in the order of
// words. The first pass gives every word that has new links a chunk of the right size, the second
// writes the links into the chunks, from the last slot down.

#include <unistd.h>

#include <algorithm>

#include "api/reporting.h"
#include "index/index.h"
#include "storage/bytes.h"

namespace {

constexpr int kPercentStep = 5;
constexpr unsigned long kLinksPerReport = 50000;
constexpr uint32_t kNextListBytes = 4;
constexpr uint32_t kMaxRequestBytes = 1048575;
constexpr uint32_t kPlausibleLinks = 1 << 16;

int32_t handedCount(const char* data) {
  return static_cast<int32_t>(loadU32(data + WordData::kHanded));
}

// Consecutive requests are handed out one after the other, so together they are one piece.
uint32_t takeSpace(CFileLinks& links, uint64_t bytes) {
  uint32_t first = 0;
  for (uint64_t taken = 0; taken < bytes;) {
    const auto request = static_cast<int>(std::min<uint64_t>(bytes - taken, kMaxRequestBytes));
    const auto at = static_cast<uint32_t>(links.getSpace(request));
    if (taken == 0) first = at;
    taken += static_cast<uint64_t>(request);
  }
  return first;
}

}  // namespace

void CVeskaIndex::newFileLinks() {
  retire(links.release());
  links = newLinkTable();
  links->getSpace(kNextListBytes);
  startWordLinks();
  if (words->getFirst() != 0) words->enableWrite();
  for (auto id = words->getFirst(); id != 0; id = words->getNext(id)) {
    auto* data = static_cast<char*>(words->getData(id));
    storeU32(data + WordData::kChunk, 0);
    storeU32(data + WordData::kHanded, 0);
  }
}

void CVeskaIndex::compressLinks() {
  if (!wordLinks || !links) throwVeskaError("AssertionFailed", {});
  words->requireWritable(0);
  links->requireWritable(0);
  if (fillChunks(makeChunks())) zeroHandedCounts();
  wordLinks = nullptr;
  unlink((indexPath + "temp").c_str());
  if (showStatus) setStatus("Done", {});
}

// A word may count more links than the word-link file holds: those of a run that was never
// compacted. Beyond what such a run leaves behind, its count is damage and takes no space.
// Result: the links that were counted.
uint64_t CVeskaIndex::makeChunks() {
  uint64_t expected = 0;
  const uint32_t entry = links->entryBytes();
  const uint32_t mostLinks =
      std::max(wordLinks->usedBytes() / wordLinks->entryBytes(), kPlausibleLinks);
  const unsigned long step = wordsIndexed * kPercentStep / 100;
  int percent = -kPercentStep;
  unsigned long sinceReport = step + 1;
  for (auto id = words->getFirst(); id != 0; id = words->getNext(id)) {
    ++sinceReport;
    if (showStatus && sinceReport > step) {
      percent += kPercentStep;
      setStatus("CountingCompress", std::to_string(percent));
      sinceReport = 0;
    }
    auto* data = static_cast<char*>(words->getData(id));
    const int32_t handed = handedCount(data);
    expected += handed < 0 ? 1 : static_cast<uint64_t>(handed);
    if (handed <= 0) continue;
    const uint64_t slots = std::min(static_cast<uint32_t>(handed), mostLinks);
    const uint32_t chunk = takeSpace(*links, (slots + 1) * entry + kNextListBytes);
    const auto lastSlot = static_cast<uint32_t>(chunk + slots * entry);
    const uint32_t previous = loadU32(data + WordData::kChunk);
    if (previous != 0) links->setNextList(lastSlot + entry, previous);
    storeU32(data + WordData::kChunk, lastSlot);
  }
  return expected;
}

// The handed counts run down with the links, and are all 0 in the end. Result: are some not, with
// so many expected in all?
bool CVeskaIndex::fillChunks(uint64_t expected) {
  const uint32_t entry = links->entryBytes();
  unsigned long cursor = CFileMemory::kHeaderBytes;
  unsigned long counted = 0;
  unsigned long shown = 0;
  while (const unsigned long file = wordLinks->getFile(cursor)) {
    ++counted;
    if (showStatus && counted >= shown) {
      const unsigned long next = shown + kLinksPerReport;
      setStatus("CompLinksFmt", std::to_string(shown) + "\t" + std::to_string(next));
      shown = next;
    }
    wordLinks->releaseBefore(static_cast<uint32_t>(cursor));
    unsigned char count = 0;
    while (const unsigned long word = wordLinks->getWord(cursor, count)) {
      ++counted;
      auto* data = static_cast<char*>(words->getData(word));
      if (!data) throwVeskaError("AssertionFailed", {});
      const int32_t handed = handedCount(data);
      if (handed < 1) continue;
      storeU32(data + WordData::kHanded, static_cast<uint32_t>(handed - 1));
      --expected;
      if (file == loadU32(data + WordData::kLastFile)) continue;
      const uint32_t slot = loadU32(data + WordData::kChunk) - entry;
      links->addFile(slot, file, count);
      storeU32(data + WordData::kChunk, slot);
    }
  }
  return expected != 0;
}

// A count that was higher than its links, as a run that was never compacted leaves behind.
void CVeskaIndex::zeroHandedCounts() {
  for (auto id = words->getFirst(); id != 0; id = words->getNext(id)) {
    auto* data = static_cast<char*>(words->getData(id));
    if (handedCount(data) != 0) storeU32(data + WordData::kHanded, 0);
  }
}
