// The two append-only link files that tie words to files.
//
// A link entry, unaligned: target id (unsigned 32-bit) and, with ranking, one byte that counts the
// occurrences after the first, saturating at 255. So 5 bytes with ranking and 4 without; without
// it, readers report the count as 255.
//
// CWordLinks, on disk from offset 16, groups: a file id (4 bytes), that file's entries (targets are
// word ids), one entry of zeros that ends the group. The last group has no such end.
//
// CFileLinks, on disk from offset 16, chunks: n + 1 entries (targets are file ids), the last always
// zero, then the offset of the word's previous chunk (4 bytes, 0: none). An entry with target 1 is
// a removed link.
//
// The saved block of both: magic 12360001 (unsigned 32-bit), ranking flag (1 byte).

#ifndef VESKA_STORAGE_LINKSTORAGE_H_
#define VESKA_STORAGE_LINKSTORAGE_H_

#include <cstdint>
#include <cstdio>
#include <string>

#include "storage/filememory.h"

class VESKA_API CFileLinks : public CFileMemory {
 public:
  // Makes an empty file. Sizes in bytes.
  CFileLinks(std::string path, unsigned long initialSize, unsigned long growthIncrement,
             bool ranking);

  // Opens read-only. Raises "StorageReadError" (path).
  CFileLinks(std::string path, FILE* hashFile);

  // getNewSpace(size).
  unsigned long getSpace(int size);

  // Writes an entry. Raises "AssertionFailed" when it would not lie below used.
  void addFile(unsigned long offset, unsigned long fileId, unsigned char count);

  // Reads the entry at cursor, and advances cursor by an entry in any case. Result: the file id; 0
  // with count 0 when the entry does not lie below used.
  unsigned long getFile(unsigned long& cursor, unsigned char& count) const;

  // The 4-byte next-list field at offset. Both raise "AssertionFailed" when it does not lie below
  // used, and getNextList also when it leads forward: chunks only refer to earlier ones.
  void setNextList(unsigned long offset, unsigned long next);
  unsigned long getNextList(unsigned long offset) const;

  // Overwrites every value equal to fileId on the entry grid from offset 0 with 1.
  // Deliberate: the header and the chunk structure are not regarded.
  void removeFile(unsigned long fileId);

  bool store(FILE* stream) const;
  bool read(FILE* stream);

  bool ranking() const { return ranking_; }
  uint32_t entryBytes() const { return ranking_ ? 5 : 4; }

 private:
  bool ranking_ = false;
};

class VESKA_API CWordLinks : public CFileMemory {
 public:
  // As those of CFileLinks; no group is open.
  CWordLinks(std::string path, unsigned long initialSize, unsigned long growthIncrement,
             bool ranking);
  CWordLinks(std::string path, FILE* hashFile);

  // Appends an entry to the file's group, which is begun when another file's is open.
  // Raises what getNewSpace raises.
  void addWord(unsigned long fileId, unsigned long wordId, unsigned char count);

  // Reads a group's head at cursor, and advances cursor by 4. Result: the file id, 0 at the end.
  unsigned long getFile(unsigned long& cursor) const;

  // Reads an entry, as CFileLinks::getFile. 0 ends the group.
  unsigned long getWord(unsigned long& cursor, unsigned char& count) const;

  bool store(FILE* stream) const;
  bool read(FILE* stream);

  bool ranking() const { return ranking_; }
  uint32_t entryBytes() const { return ranking_ ? 5 : 4; }

 private:
  uint32_t currentFile_ = 0;
  uint32_t groupHeader_ = 0;
  bool ranking_ = false;
};

#endif  // VESKA_STORAGE_LINKSTORAGE_H_
