#include "storage/fileindex.h"

#include "storage/bytes.h"
#include "storage/filestorage.h"
#include "storage/hashentries.h"

namespace {

constexpr uint32_t kQuestionsBeforeBuilding = 8;
constexpr size_t kMaxWatches = 256;
constexpr size_t kFirstSlots = 1024;

}  // namespace

FileNameIndex::FileNameIndex(const CFileStorage& table) : table_(table) { forget(); }

void FileNameIndex::forget() {
  tails_.assign(table_.bucketCount_, 0);
  watchedIn_.assign(table_.bucketCount_, 0);
  slots_.clear();
  taken_ = 0;
  watches_.clear();
  tooManyWatches_ = false;
  strays_.clear();
  questions_ = 0;
  mappingCount_ = table_.mappingCount();
}

bool FileNameIndex::ready() {
  if (mappingCount_ != table_.mappingCount()) forget();
  if (tooManyWatches_) return false;
  if (built()) return true;
  if (++questions_ <= kQuestionsBeforeBuilding) return false;
  build();
  return true;
}

// Reads every chain. A damaged chain raises before anything is kept.
void FileNameIndex::build() {
  std::vector<uint32_t> tails(table_.bucketCount_, 0);
  std::vector<Slot> found;
  std::unordered_map<uint32_t, uint32_t> strays;
  for (uint32_t bucket = 0; bucket < table_.bucketCount_; ++bucket) {
    for (uint32_t id = table_.buckets_[bucket]; id != 0; id = table_.nextOf(id)) {
      id = table_.checkedLink(tails[bucket], id);
      tails[bucket] = id;
      const char* name = table_.getText(id);
      if (table_.getHash(name) == bucket) {
        found.push_back({keyOf(name, table_.info(id).parent), id});
      } else {
        strays.emplace(id, bucket);
      }
    }
  }
  size_t slots = kFirstSlots;
  while (slots < 3 * found.size()) slots *= 2;
  slots_.assign(slots, {});
  taken_ = 0;
  for (const Slot& slot : found) insert(slot);
  tails_ = std::move(tails);
  strays_ = std::move(strays);
  watchedIn_.assign(table_.bucketCount_, 0);
  std::unordered_map<uint32_t, uint32_t> watches;
  watches.swap(watches_);
  for (const auto& [id, unknown] : watches) watch(id);
}

uint32_t FileNameIndex::find(uint32_t bucket, const char* name, uint32_t parent) {
  if (watchedIn_[bucket] != 0) refresh(bucket);
  const uint32_t key = keyOf(name, parent);
  uint32_t first = 0;
  for (size_t at = key;; ++at) {
    const Slot& slot = slots_[at & (slots_.size() - 1)];
    if (slot.id == 0) return first;
    if (slot.key == key && (first == 0 || slot.id < first) && table_.matches(slot.id, name, parent))
      first = slot.id;
  }
}

void FileNameIndex::added(uint32_t id, uint32_t bucket) {
  if (mappingCount_ != table_.mappingCount()) forget();
  tails_[bucket] = id;
  endWatches();
  // Its parent is about to be written: filed now, all new records of a name would stand together.
  watches_.emplace(id, bucket);
  ++watchedIn_[bucket];
}

void FileNameIndex::watch(uint32_t id) {
  if (mappingCount_ != table_.mappingCount()) forget();
  if (tooManyWatches_ || watches_.contains(id)) return;
  if (watches_.size() == kMaxWatches) {
    tooManyWatches_ = true;
    return;
  }
  const uint32_t bucket = bucketOf(id);
  watches_.emplace(id, bucket);
  ++watchedIn_[bucket];
}

void FileNameIndex::changed(uint32_t id, uint32_t bucket) {
  if (built() && mappingCount_ == table_.mappingCount()) file(id, bucket);
}

// What was handed out can no longer be written, so this is the last look. When there was more than
// could be watched, everything is read anew at the next need.
void FileNameIndex::endWatches() {
  if (tooManyWatches_) {
    slots_.clear();
    tooManyWatches_ = false;
  }
  for (const auto& [id, bucket] : watches_) {
    if (built()) file(id, bucket);
    watchedIn_[bucket] = 0;
  }
  watches_.clear();
}

void FileNameIndex::refresh(uint32_t bucket) {
  for (const auto& [id, watchedBucket] : watches_)
    if (watchedBucket == bucket) file(id, bucket);
}

// A watched record may have been written to already; any other stands as it was last filed.
uint32_t FileNameIndex::bucketOf(uint32_t id) const {
  if (!built()) return 0;
  const auto watched = watches_.find(id);
  if (watched != watches_.end()) return watched->second;
  const auto stray = strays_.find(id);
  if (stray != strays_.end()) return stray->second;
  return static_cast<uint32_t>(table_.getHash(table_.getText(id)));
}

// A record whose name belongs to another bucket is never found by that name: look-ups walk the
// chain of the name's bucket only.
void FileNameIndex::file(uint32_t id, uint32_t bucket) {
  const char* name = table_.getText(id);
  if (table_.getHash(name) == bucket) {
    insert({keyOf(name, table_.info(id).parent), id});
  } else {
    strays_.emplace(id, bucket);
  }
}

// FNV-1a over the folded name, begun with the parent and something that differs between processes,
// so that nobody can choose names that all fall together; then the finish of MurmurHash3, since
// FNV-1a carries nothing from high bits to low ones.
uint32_t FileNameIndex::keyOf(const char* name, uint32_t parent) const {
  uint64_t hash =
      0xCBF29CE484222325u ^ (uint64_t{parent} << 20) ^ reinterpret_cast<uintptr_t>(this);
  for (; *name; ++name) hash = (hash ^ foldAscii(*name)) * 0x100000001B3u;
  hash = (hash ^ (hash >> 33)) * 0xFF51AFD7ED558CCDu;
  return static_cast<uint32_t>(hash >> 32);
}

void FileNameIndex::insert(Slot slot) {
  if (3 * uint64_t{taken_} >= 2 * slots_.size()) enlarge();
  for (size_t at = slot.key;; ++at) {
    Slot& here = slots_[at & (slots_.size() - 1)];
    if (here.id == slot.id && here.key == slot.key) return;
    if (here.id != 0) continue;
    here = slot;
    ++taken_;
    return;
  }
}

void FileNameIndex::enlarge() {
  std::vector<Slot> old(2 * slots_.size());
  old.swap(slots_);
  taken_ = 0;
  for (const Slot& slot : old)
    if (slot.id != 0) insert(slot);
}
