// CTextStorage: a hashed table of texts, each with a fixed block of caller data in front. The index
// keeps its words (16 bytes of data) and its skip words (none) in two of them. A text's id is the
// offset of its first byte; ids never change, entries are never deleted, and the table is walked in
// the order of insertion. Look-ups ignore the case of ASCII letters.
//
// On disk, entries one after the other from offset 16, unaligned:
//   0             next id in the same bucket (unsigned 32-bit), 0 = end of chain
//   4             caller data, zero when made
//   4 + data size the text and its terminating zero
//
// The saved block (unsigned 32-bit): magic 12350001, prefix size (4 + data size), entry count, and
// the bucket array (storage/hashentries.h).

#ifndef VESKA_STORAGE_TEXTSTORAGE_H_
#define VESKA_STORAGE_TEXTSTORAGE_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "storage/bucketarray.h"
#include "storage/filememory.h"
#include "storage/textcache.h"

class VESKA_API CTextStorage : public CFileMemory {
 public:
  // Makes an empty table. Sizes in bytes, hashSize in buckets.
  CTextStorage(std::string path, unsigned long initialSize, unsigned long growthIncrement,
               unsigned int dataSize, unsigned long hashSize);

  // Opens a table read-only; its block is read from where the stream stands. Raises
  // "StorageReadError" (path) when the block or the file's header is not sound.
  CTextStorage(std::string path, FILE* hashFile);

  ~CTextStorage() override;

  // Appends an entry without looking for an equal one. Result: its id.
  // REQUIRES: a writable table. Raises what getNewSpace raises, and "AssertionFailed".
  unsigned long addText(const char* text);

  // Id of the first entry whose text equals text, 0 if none. Raises "AssertionFailed" on a chain
  // that leads outside the table or backward.
  unsigned long lookup(const char* text) const;

  // As above, with hash = hashText(text) already known.
  unsigned long addText(const char* text, uint32_t hash);
  unsigned long lookup(const char* text, uint32_t hash) const;

  // As above, for a text that is likely to be asked for again soon: a table without it gets it.
  // length: bytes of the text; none of them folds to zero. added: was it not there?
  // Raise what addText and lookup raise.
  unsigned long lookupOrAdd(const char* text, size_t length, uint32_t hash, bool& added) {
    added = false;
    const uint32_t id = recentIn(mappingCount()).find(text, length, hash);
    if (id != 0 && getPointer(id)) return id;
    return lookupOrAddSlowly(text, length, hash, added);
  }

  // Bucket of a text.
  unsigned long getHash(const char* text) const;

  // Walk in the order of insertion; 0 at the end. getNext raises "AssertionFailed" on a text that
  // does not end inside the table.
  unsigned long getFirst() const;
  unsigned long getNext(unsigned long id) const;

  // Id of the first text whose bytes, part among them, lie behind offset; 0 if there is none. Texts
  // that are not what a look-up of them finds are passed over. Raises "AssertionFailed" on damage.
  // REQUIRES: part has two bytes or more, and no zero; offset is 0 or the end of a text.
  unsigned long nextContaining(unsigned long offset, std::string_view part) const;

  // The text; null for an id out of reach. Raises "AssertionFailed" when it does not end inside the
  // table.
  char* getText(unsigned long id) const;

  // The caller data; null for an id out of reach.
  void* getData(unsigned long id) const {
    const auto text = static_cast<uint32_t>(id);
    if (text < kHeaderBytes + prefixSize_ || !getPointer(text)) return nullptr;
    return at(text - prefixSize_ + kLinkBytes);
  }

  bool store(FILE* stream) const;
  bool read(FILE* stream);

  // Steps of addText: doubles the buckets until there are as many as entries, and chains all
  // entries anew; puts an entry at the tail of its chain.
  void reHash();
  void addHash(const char* text, unsigned long id);

  uint32_t prefixBytes() const { return prefixSize_; }
  uint32_t entryCount() const { return entryCount_; }

 private:
  static constexpr uint32_t kLinkBytes = 4;

  // What was found lately. What another mapping of the file held counts no longer.
  TextCache& recentIn(uint32_t mapping) {
    if (mapping != recentMapping_) recent_.clear();
    recentMapping_ = mapping;
    return recent_;
  }
  unsigned long lookupOrAddSlowly(const char* text, size_t length, uint32_t hash, bool& added);
  void reHash(uint32_t entries);
  void chain(uint32_t id, uint32_t hash);
  uint32_t lengthAt(uint32_t id) const;
  uint32_t checkedLink(uint32_t from, uint32_t to) const;
  char* nextField(uint32_t id) const;

  uint32_t prefixSize_ = 4;
  BucketArray buckets_;
  uint32_t entryCount_ = 0;
  TextCache recent_;
  uint32_t recentMapping_ = 0;
};

#endif  // VESKA_STORAGE_TEXTSTORAGE_H_
