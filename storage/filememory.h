// CFileMemory: one file, mapped into memory as a whole, that grows at its end and hands out space
// by offset. Every table is one. Items are named by offsets, never by addresses, because growth
// may move the mapping.
//
// On disk: | offset | size | field             |
//          |      0 |    4 | file size         |  bytes, = length of the mapping
//          |      4 |    4 | used              |  offset of the first byte not yet handed out
//          |      8 |    4 | initial size      |
//          |     12 |    4 | growth increment  |  also the largest single request
//          |     16 |      | content           |  zero from used on
// All numbers are unsigned 32-bit, little-endian. The header is itself the first item handed out.

#ifndef VESKA_STORAGE_FILEMEMORY_H_
#define VESKA_STORAGE_FILEMEMORY_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "api/export.h"

class VESKA_API CFileMemory {
 public:
  static constexpr uint32_t kHeaderBytes = 16;

  // Maps an existing file read-only. A file that is missing, or whose header cannot be true, leaves
  // the object empty. Raises "FileMapWriteFail" (path) when the header claims more than the file
  // has, or when it cannot be mapped.
  explicit CFileMemory(std::string path);

  // Makes the file (mode 0600) in place of what is there, and maps it writable. Sizes in bytes.
  // Raises what getNewSpace raises.
  CFileMemory(std::string path, unsigned long initialSize, unsigned long growthIncrement);

  // Does what clearAll does; a failure to unmap is swallowed.
  virtual ~CFileMemory();

  CFileMemory(const CFileMemory&) = delete;
  CFileMemory& operator=(const CFileMemory&) = delete;

  // Hands out size bytes, all zero; result: the offset of the first. The file takes the sizes I,
  // 2I, 4I ... while below the increment, then grows by the increment.
  // Raises "GetHugeSpace" (size) when size exceeds the increment, or (new file size) when the file
  // would pass 4 GiB - 1; "MemFileOpenFail" (path); "MemFileExtendFail" (new file size);
  // "FileMapOpenRWFail" (path). The last two leave the object empty, but for a read-only table,
  // which raises "MemFileExtendFail" and stays as it is.
  unsigned long getNewSpace(unsigned long size);

  // Address of an offset below used; null at and beyond it, and when nothing is mapped.
  void* getPointer(unsigned long offset) const {
    const auto at = static_cast<uint32_t>(offset);
    return mapped_ && at < used_ ? base_ + at : nullptr;
  }

  // Result: false when the file cannot be opened or is shorter than 4 bytes.
  // Raise "FileMapWriteFail" (path). The read-only mapping is private: what is written into it is
  // never stored.
  bool openForRead();
  bool openForWrite();

  // Makes a read-only mapping writable. Result: false when nothing is mapped, or when the file
  // cannot be written (it is then mapped read-only again).
  bool enableWrite();

  // Stores the header, and maps the file read-only. Result: that of openForRead.
  bool disableWrite();

  // Stores the header, lets go of mapping, file and path. Raises "UnmapFail" (path).
  // Deliberate: the writable flag stays as it was.
  void clearAll();

  // Lets go of mapping, file and path without storing the header: for a file that another object
  // is about to replace.
  void abandon();

  // The path, "." when it is empty.
  std::string getStoragePath() const;
  // Assigns the path without opening anything.
  void setStoragePath(std::string path) { storagePath_ = std::move(path); }

  // Raises "MemFileExtendFail" (the size that size more bytes would need) when the table is mapped
  // read-only, or could not be mapped again: to be asked before anything is written.
  void requireWritable(uint64_t size) const {
    if (fileSize_ != 0 && !isWritable()) refuseToWrite(size);
  }

  // Tells the system that what lies before offset is not needed for a while: it leaves the memory
  // of the process, not the file. Costs little when called often.
  void releaseBefore(uint32_t offset);

  bool isWritable() const { return mapped_ && writable_; }
  uint32_t usedBytes() const { return used_; }
  uint32_t fileBytes() const { return fileSize_; }

 protected:
  // For opening constructors: raises "StorageReadError" (path) when a file that is there could not
  // be opened, or its header cannot be true, or headRead says that the head in hashFile cannot.
  void requireOpened(bool headRead, FILE* hashFile) const;

  // Counts the times that the file was mapped from disk: what was read before may differ now.
  uint32_t mappingCount() const { return mappingCount_; }

  // Tells the system that all pages are about to be read.
  void expectScan() const;

  // Address of an offset that is known to lie below used.
  char* at(uint32_t offset) const { return base_ + offset; }

  // Bytes from an offset to used; 0 when the offset is out of reach.
  uint32_t bytesFrom(uint32_t offset) const {
    return mapped_ && offset < used_ ? used_ - offset : 0;
  }

 private:
  CFileMemory();

  [[noreturn]] void refuseToWrite(uint64_t size) const;
  uint64_t grownSize(uint64_t needed) const;
  void grow(uint64_t newSize);
  void extendFile(uint64_t newSize);
  bool mapFile(int openFlags);
  [[noreturn]] void failToMap(int reason);
  void loadHeader();
  void storeHeader();
  bool unmap();
  void closeFile();
  void forget();

  int descriptor_ = -1;
  bool fileOpen_ = false;
  bool mapped_ = false;
  bool writable_ = false;
  uint32_t initialSize_ = 0;
  uint32_t growthIncrement_ = 0;
  uint32_t fileSize_ = 0;
  uint32_t used_ = 0;
  char* base_ = nullptr;
  char* header_ = nullptr;
  std::string storagePath_;
  bool headerDamaged_ = false;
  int openError_ = 0;  // errno of the last attempt to open the file
  uint32_t mappingCount_ = 0;
  uint32_t releasedBytes_ = 0;
};

#endif  // VESKA_STORAGE_FILEMEMORY_H_
