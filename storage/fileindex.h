// FileNameIndex: the file table's companion in memory. The table's chains are long (a fixed number
// of buckets, however many records); this answers the same question, the first record of a chain
// with a given name and parent, in constant time.
//
// It has to be right whatever a host writes into the records. So a record that was handed out to be
// written is watched: before an answer about its chain is given, it is filed anew under what it
// says now. Records are never taken out; what a slot leads to is always compared in full. A record
// pointer is good only until the next record is added: all watches end then, after one more look.

#ifndef VESKA_STORAGE_FILEINDEX_H_
#define VESKA_STORAGE_FILEINDEX_H_

#include <cstdint>
#include <unordered_map>
#include <vector>

class CFileStorage;

class FileNameIndex {
 public:
  // table: outlives the index.
  explicit FileNameIndex(const CFileStorage& table);

  // May find be asked? False for the first few questions, which are not worth building anything,
  // and while more records are handed out than can be watched: walk the chain then.
  bool ready();

  // Id of the first record of the bucket's chain that matches, 0 if none. REQUIRES: ready().
  uint32_t find(uint32_t bucket, const char* name, uint32_t parent);

  // A record was appended to the bucket's chain.
  void added(uint32_t id, uint32_t bucket);

  // The record may be written to from now on.
  void watch(uint32_t id);

  // For the engine's own writes: the bucket of a record before it is written to, and the filing of
  // the record under what it says now.
  uint32_t bucketOf(uint32_t id) const;
  void changed(uint32_t id, uint32_t bucket);

  // The tail of a bucket's chain, 0 while it is not known.
  uint32_t& tail(uint32_t bucket) { return tails_[bucket]; }

 private:
  struct Slot {
    uint32_t key = 0;
    uint32_t id = 0;  // 0: free
  };

  bool built() const { return !slots_.empty(); }
  void forget();
  void build();
  uint32_t keyOf(const char* name, uint32_t parent) const;
  void file(uint32_t id, uint32_t bucket);
  void insert(Slot slot);
  void enlarge();
  void refresh(uint32_t bucket);
  void endWatches();

  const CFileStorage& table_;
  std::vector<uint32_t> tails_;
  std::vector<Slot> slots_;  // open addressing, a power of two of them; empty: not built
  uint32_t taken_ = 0;
  std::unordered_map<uint32_t, uint32_t> watches_;  // id to bucket; the bucket counts once built
  std::vector<uint16_t> watchedIn_;                 // watches by bucket
  bool tooManyWatches_ = false;
  std::unordered_map<uint32_t, uint32_t> strays_;  // records whose name is not that of their bucket
  uint32_t questions_ = 0;
  uint32_t mappingCount_ = 0;
};

#endif  // VESKA_STORAGE_FILEINDEX_H_
