// The number of buckets never changes, so chains grow with the table; beside them stands a
// companion in memory (storage/fileindex.h) that gives the same answers.

#include "storage/filestorage.h"

#include <cstring>
#include <utility>

#include "api/reporting.h"
#include "storage/bytes.h"
#include "storage/fileindex.h"
#include "storage/hashentries.h"

namespace {

constexpr uint32_t kFileStorageMagic = 12370001;
constexpr uint32_t kInitialBytes = 65535;
constexpr uint32_t kGrowthBytes = 1048575;
constexpr uint32_t kFirstId = CFileMemory::kHeaderBytes + CFileStorage::kPrefixBytes;
constexpr unsigned char kObsoleteMark = 0xFF;

// From a record's id back to its fields.
constexpr uint32_t kToNext = 20;
constexpr uint32_t kToInfo = 16;

}  // namespace

CFileStorage::CFileStorage(std::string path, unsigned long hashSize)
    : CFileMemory(std::move(path), kInitialBytes, kGrowthBytes),
      buckets_(std::make_unique<uint32_t[]>(hashSize)),
      bucketCount_(static_cast<uint32_t>(hashSize)),
      names_(std::make_unique<FileNameIndex>(*this)) {}

CFileStorage::CFileStorage(std::string path, FILE* hashFile) : CFileMemory(std::move(path)) {
  requireOpened(read(hashFile), hashFile);
}

CFileStorage::~CFileStorage() = default;

unsigned long CFileStorage::addFile(const char* name) {
  const size_t length = std::strlen(name);
  requireWritable(length + 1 + kPrefixBytes);
  if (bucketCount_ == 0) throwVeskaError("AssertionFailed", {});
  const auto bucket = static_cast<uint32_t>(getHash(name));
  const uint32_t tail = tailOf(bucket);
  const uint32_t id = static_cast<uint32_t>(getNewSpace(length + 1 + kPrefixBytes)) + kPrefixBytes;
  std::memcpy(at(id), name, length + 1);
  if (tail) {
    storeU32(at(tail - kToNext), id);
  } else {
    buckets_[bucket] = id;
  }
  names_->added(id, bucket);
  return id;
}

unsigned long CFileStorage::lookupFile(const char* name, unsigned long parent) const {
  if (bucketCount_ == 0) return 0;
  const auto bucket = static_cast<uint32_t>(getHash(name));
  if (buckets_[bucket] == 0) return 0;
  checkedLink(0, buckets_[bucket]);
  const auto parentId = static_cast<uint32_t>(parent);
  return names_->ready() ? names_->find(bucket, name, parentId) : walkChain(bucket, name, parentId);
}

uint32_t CFileStorage::walkChain(uint32_t bucket, const char* name, uint32_t parent) const {
  uint32_t from = 0;
  for (uint32_t id = buckets_[bucket]; id != 0; from = id, id = nextOf(id))
    if (matches(checkedLink(from, id), name, parent)) return id;
  return 0;
}

uint32_t CFileStorage::tailOf(uint32_t bucket) {
  uint32_t& tail = names_->tail(bucket);
  if (tail == 0)
    for (uint32_t id = buckets_[bucket]; id != 0; id = nextOf(id)) tail = checkedLink(tail, id);
  return tail;
}

bool CFileStorage::matches(uint32_t id, const char* name, uint32_t parent) const {
  if (loadU32(at(id - kToInfo)) != parent) return false;
  const TextOrder order = compareStored(at(id), bytesFrom(id), name, !exactNames_);
  if (order == TextOrder::kUnterminated) throwVeskaError("AssertionFailed", {});
  return order == TextOrder::kEqual;
}

// The link target to, if it may follow the record from (0: the bucket array): chains lead forward.
uint32_t CFileStorage::checkedLink(uint32_t from, uint32_t to) const {
  if (to <= from || to < kFirstId || !getPointer(to)) throwVeskaError("AssertionFailed", {});
  return to;
}

uint32_t CFileStorage::nextOf(uint32_t id) const { return loadU32(at(id - kToNext)); }

unsigned long CFileStorage::getHash(const char* name) const {
  return bucketCount_ ? hashText(name) % bucketCount_ : 0;
}

unsigned long CFileStorage::getFirst() const { return getPointer(kFirstId) ? kFirstId : 0; }

unsigned long CFileStorage::getNext(unsigned long id) const {
  const char* name = getText(id);
  if (!name) return 0;
  const uint64_t next = uint64_t{static_cast<uint32_t>(id)} + std::strlen(name) + 1 + kPrefixBytes;
  return next < usedBytes() ? next : 0;
}

void* CFileStorage::getData(unsigned long id) const {
  const auto record = static_cast<uint32_t>(id);
  if (record < kFirstId || !getPointer(record)) return nullptr;
  names_->watch(record);
  return at(record - kToInfo);
}

char* CFileStorage::getText(unsigned long id) const {
  auto* name = static_cast<char*>(getPointer(id));
  if (!name) return nullptr;
  const uint32_t bound = bytesFrom(static_cast<uint32_t>(id));
  if (boundedLength(name, bound) == bound) throwVeskaError("AssertionFailed", {});
  return name;
}

FileInfo CFileStorage::info(uint32_t id) const {
  const char* fields = at(id - kToInfo);
  return {loadU32(fields), static_cast<int32_t>(loadU32(fields + 4)), loadU32(fields + 8),
          loadU32(fields + 12)};
}

void CFileStorage::setInfo(uint32_t id, const FileInfo& info) {
  requireWritable(0);
  char* fields = at(id - kToInfo);
  const bool moved = loadU32(fields) != info.parent;
  const uint32_t bucket = moved ? names_->bucketOf(id) : 0;
  storeU32(fields, info.parent);
  storeU32(fields + 4, static_cast<uint32_t>(info.time));
  storeU32(fields + 8, info.size);
  storeU32(fields + 12, info.attributes);
  if (moved) names_->changed(id, bucket);
}

void CFileStorage::markObsolete(uint32_t id) {
  requireWritable(0);
  char* name = at(id);
  if (*name == 0) return;
  const uint32_t bucket = names_->bucketOf(id);
  *name = static_cast<char>(kObsoleteMark);
  names_->changed(id, bucket);
}

bool CFileStorage::isObsolete(uint32_t id) const {
  return static_cast<unsigned char>(*at(id)) == kObsoleteMark;
}

bool CFileStorage::store(FILE* stream) const {
  return writeU32(stream, kFileStorageMagic) && writeU32(stream, prefixSize_) &&
         writeHashEntries(stream, buckets_.get(), bucketCount_);
}

bool CFileStorage::read(FILE* stream) {
  uint32_t magic = 0;
  uint32_t prefix = 0;
  if (!readU32(stream, magic) || magic != kFileStorageMagic) return false;
  if (!readU32(stream, prefix) || prefix != kPrefixBytes) return false;
  unsigned long count = 0;
  buckets_ = readHashEntries(stream, count);
  bucketCount_ = static_cast<uint32_t>(count);
  prefixSize_ = prefix;
  names_ = std::make_unique<FileNameIndex>(*this);
  return buckets_ != nullptr;
}
