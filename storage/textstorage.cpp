// Entries are only ever appended and go to the tail of their chain, so a sound chain leads forward
// through the file. A link that does not is damage, and following only forward links also means
// that no walk can go in circles.

#include "storage/textstorage.h"

#include <cstring>
#include <utility>

#include "api/reporting.h"
#include "storage/bytes.h"
#include "storage/bytesearch.h"
#include "storage/hashentries.h"

namespace {

constexpr uint32_t kTextStorageMagic = 12350001;
constexpr uint32_t kMaxDataBytes = 1 << 16;

}  // namespace

CTextStorage::CTextStorage(std::string path, unsigned long initialSize,
                           unsigned long growthIncrement, unsigned int dataSize,
                           unsigned long hashSize)
    : CFileMemory(std::move(path), initialSize, growthIncrement),
      prefixSize_(dataSize + kLinkBytes),
      buckets_(static_cast<uint32_t>(hashSize)) {}

CTextStorage::CTextStorage(std::string path, FILE* hashFile) : CFileMemory(std::move(path)) {
  requireOpened(read(hashFile), hashFile);
}

CTextStorage::~CTextStorage() = default;

inline char* CTextStorage::nextField(uint32_t id) const { return at(id - prefixSize_); }

// The link target to, if it may follow the entry from (0: the bucket array).
inline uint32_t CTextStorage::checkedLink(uint32_t from, uint32_t to) const {
  if (to <= from || to < kHeaderBytes + prefixSize_ || !getPointer(to))
    throwVeskaError("AssertionFailed", {});
  return to;
}

unsigned long CTextStorage::addText(const char* text) { return addText(text, hashText(text)); }

unsigned long CTextStorage::lookup(const char* text) const { return lookup(text, hashText(text)); }

unsigned long CTextStorage::addText(const char* text, uint32_t hash) {
  const size_t length = std::strlen(text);
  requireWritable(length + 1 + prefixSize_);
  if (entryCount_ + 1 > buckets_.count()) reHash(entryCount_ + 1);
  const auto start = static_cast<uint32_t>(getNewSpace(length + 1 + prefixSize_));
  ++entryCount_;
  const uint32_t id = start + prefixSize_;
  std::memcpy(at(id), text, length + 1);
  chain(id, hash);
  return id;
}

unsigned long CTextStorage::lookup(const char* text, uint32_t hash) const {
  if (buckets_.count() == 0) return 0;
  uint32_t id = buckets_[hash % buckets_.count()];
  for (uint32_t from = 0; id != 0; from = id, id = loadU32(nextField(id))) {
    id = checkedLink(from, id);
    const TextOrder order = compareStored(at(id), bytesFrom(id), text, true);
    if (order == TextOrder::kEqual) return id;
    if (order == TextOrder::kUnterminated) throwVeskaError("AssertionFailed", {});
  }
  return 0;
}

unsigned long CTextStorage::lookupOrAddSlowly(const char* text, size_t length, uint32_t hash,
                                              bool& added) {
  unsigned long id = lookup(text, hash);
  added = id == 0;
  if (added) id = addText(text, hash);
  recentIn(mappingCount()).keep(text, length, hash, static_cast<uint32_t>(id));
  return id;
}

unsigned long CTextStorage::getHash(const char* text) const {
  return buckets_.count() ? hashText(text) % buckets_.count() : 0;
}

void CTextStorage::addHash(const char* text, unsigned long id) {
  chain(static_cast<uint32_t>(id), hashText(text));
}

void CTextStorage::chain(uint32_t id, uint32_t hash) {
  uint32_t& head = buckets_[hash % buckets_.count()];
  if (head == 0) {
    head = id;
    return;
  }
  uint32_t tail = checkedLink(0, head);
  while (const uint32_t next = loadU32(nextField(tail))) tail = checkedLink(tail, next);
  storeU32(nextField(tail), id);
}

void CTextStorage::reHash() { reHash(entryCount_); }

void CTextStorage::reHash(uint32_t entries) {
  requireWritable(0);
  uint64_t count = buckets_.count() ? buckets_.count() : 1;
  while (count < entries) count *= 2;
  buckets_ = BucketArray(static_cast<uint32_t>(count));
  for (auto id = getFirst(); id; id = getNext(id))
    storeU32(nextField(static_cast<uint32_t>(id)), 0);
  for (auto id = getFirst(); id; id = getNext(id)) addHash(getText(id), id);
}

unsigned long CTextStorage::getFirst() const {
  const unsigned long first = kHeaderBytes + prefixSize_;
  return getPointer(first) ? first : 0;
}

unsigned long CTextStorage::getNext(unsigned long id) const {
  const auto text = static_cast<uint32_t>(id);
  if (!getPointer(text)) return 0;
  const uint64_t next = uint64_t{text} + lengthAt(text) + 1 + prefixSize_;
  return next < usedBytes() ? next : 0;
}

// Length of the text at an offset below used.
uint32_t CTextStorage::lengthAt(uint32_t id) const {
  const uint32_t bound = bytesFrom(id);
  const uint32_t length = boundedLength(at(id), bound);
  if (length == bound) throwVeskaError("AssertionFailed", {});
  return length;
}

// In front of each text stands the last byte of a number that is small, or of a link: a zero. From
// a hit backward to the nearest zero is thus the text, unless the bytes hit are data, which the
// look-up tells.
unsigned long CTextStorage::nextContaining(unsigned long offset, std::string_view part) const {
  if (!getPointer(kHeaderBytes)) return 0;
  const char* const end = at(usedBytes());
  const char* from = at(offset < kHeaderBytes ? kHeaderBytes : static_cast<uint32_t>(offset));
  if (offset == 0) expectScan();
  while (from < end) {
    const char* const hit = findBytes(from, end, part);
    if (!hit) break;
    const char* start = hit;
    while (start != from && start[-1] != 0) --start;
    const char* const stop =
        static_cast<const char*>(std::memchr(hit, 0, static_cast<size_t>(end - hit)));
    if (!stop) throwVeskaError("AssertionFailed", {});
    const auto id = static_cast<unsigned long>(start - at(0));
    if (id >= kHeaderBytes + prefixSize_ && lookup(start) == id) return id;
    from = stop;
  }
  return 0;
}

char* CTextStorage::getText(unsigned long id) const {
  auto* text = static_cast<char*>(getPointer(id));
  if (text) lengthAt(static_cast<uint32_t>(id));
  return text;
}

bool CTextStorage::store(FILE* stream) const {
  return writeU32(stream, kTextStorageMagic) && writeU32(stream, prefixSize_) &&
         writeU32(stream, entryCount_) &&
         writeHashEntries(stream, buckets_.data(), buckets_.count());
}

bool CTextStorage::read(FILE* stream) {
  uint32_t magic = 0;
  uint32_t prefix = 0;
  uint32_t entries = 0;
  if (!readU32(stream, magic) || magic != kTextStorageMagic) return false;
  if (!readU32(stream, prefix) || prefix < kLinkBytes || prefix > kLinkBytes + kMaxDataBytes)
    return false;
  if (!readU32(stream, entries)) return false;
  prefixSize_ = prefix;
  entryCount_ = entries;
  return buckets_.read(stream);
}
