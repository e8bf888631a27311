// CFileStorage: the table of every file and folder that the index has seen. A record is found by
// its name and parent together; its id is the offset of its name. A folder stands under its full
// path with parent 0, a file under its bare name with its folder's id. A record whose name begins
// with 0xFF is obsolete; records are never removed.
//
// On disk, records one after the other from offset 16, unaligned (32-bit, little-endian):
//    0  next id in the same bucket, 0 = end of chain
//    4  parent id                          } the file info
//    8  time last written, signed, Unix    }
//   12  size in bytes, modulo 2^32         }
//   16  attributes                         }
//   20  the name and its terminating zero  }
//
// The saved block (unsigned 32-bit): magic 12370001, prefix size 20, and the bucket array
// (storage/hashentries.h). The bucket count never changes.

#ifndef VESKA_STORAGE_FILESTORAGE_H_
#define VESKA_STORAGE_FILESTORAGE_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "storage/filememory.h"

class FileNameIndex;

// What a record says, but for its name.
struct FileInfo {
  uint32_t parent = 0;
  int32_t time = 0;         // Unix seconds
  uint32_t size = 0;        // bytes, modulo 2^32
  uint32_t attributes = 0;  // always 0 so far
};

class VESKA_API CFileStorage : public CFileMemory {
 public:
  static constexpr uint32_t kPrefixBytes = 20;

  // Makes an empty table with hashSize buckets.
  CFileStorage(std::string path, unsigned long hashSize);

  // Opens a table read-only; its block is read from where the stream stands. Raises
  // "StorageReadError" (path) when the block or the file's header is not sound.
  CFileStorage(std::string path, FILE* hashFile);

  ~CFileStorage() override;

  // Appends a record with all four data fields 0, without looking for an equal one. Result: its id.
  // REQUIRES: a writable table. Raises what getNewSpace raises, and "AssertionFailed".
  unsigned long addFile(const char* name);

  // Id of the first record of that name (in any case, or exactly with setExactNames) and parent, 0
  // if none. The answer is that of a walk of the bucket's chain, whatever the host wrote into the
  // records. Raises "AssertionFailed" on a chain that leads outside the table or backward.
  unsigned long lookupFile(const char* name, unsigned long parent) const;

  // Bucket of a name.
  unsigned long getHash(const char* name) const;

  // Walk of all records, obsolete ones included, in the order in which they were added.
  unsigned long getFirst() const;
  unsigned long getNext(unsigned long id) const;

  // The file info; null for an id out of reach. It may be written through until the next addFile.
  void* getData(unsigned long id) const;

  // The name; null for an id out of reach. Raises "AssertionFailed" when it does not end inside the
  // table.
  char* getText(unsigned long id) const;

  bool store(FILE* stream) const;
  bool read(FILE* stream);

  // Off by default: names that differ only in case are different.
  void setExactNames(bool on) { exactNames_ = on; }

  // For the engine: reading and writing records in place. REQUIRES: an id that the table gave out.
  FileInfo info(uint32_t id) const;
  void setInfo(uint32_t id, const FileInfo& info);
  void markObsolete(uint32_t id);
  bool isObsolete(uint32_t id) const;

 private:
  friend class FileNameIndex;

  uint32_t nextOf(uint32_t id) const;
  uint32_t checkedLink(uint32_t from, uint32_t to) const;
  bool matches(uint32_t id, const char* name, uint32_t parent) const;
  uint32_t walkChain(uint32_t bucket, const char* name, uint32_t parent) const;
  uint32_t tailOf(uint32_t bucket);

  uint32_t prefixSize_ = kPrefixBytes;
  std::unique_ptr<uint32_t[]> buckets_;
  uint32_t bucketCount_ = 0;
  bool exactNames_ = false;
  std::unique_ptr<FileNameIndex> names_;
};

#endif  // VESKA_STORAGE_FILESTORAGE_H_
