// The mapping moves only when it grows, and growth extends it rather than mapping anew: the page
// tables of what is mapped already stay. Growth reserves the blocks of the file, so that a full
// disk is an error here and not a signal at some later store.

#include "storage/filememory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <utility>

#include "api/reporting.h"
#include "storage/bytes.h"
#include "storage/openfile.h"

namespace {

constexpr uint64_t kMaxFileBytes = std::numeric_limits<uint32_t>::max();
constexpr mode_t kPrivateMode = 0600;

std::string decimal(uint64_t number) { return std::to_string(static_cast<int64_t>(number)); }

int openFile(const std::string& path, int flags) {
  return openRetrying(path.c_str(), flags | O_CLOEXEC, kPrivateMode);
}

bool setLength(int descriptor, uint64_t length) {
  int result;
  do {
    result = ftruncate(descriptor, static_cast<off_t>(length));
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

// File systems that cannot reserve blocks are taken as they are. errno as for other calls.
bool reserveBlocks(int descriptor, uint64_t from, uint64_t to) {
  int error;
  do {
    error = posix_fallocate(descriptor, static_cast<off_t>(from), static_cast<off_t>(to - from));
  } while (error == EINTR);
  if (error == 0 || error == EOPNOTSUPP || error == EINVAL || error == ENODEV) return true;
  errno = error;
  return false;
}

ssize_t readStart(int descriptor, void* to, size_t bytes) {
  ssize_t count;
  do {
    count = pread(descriptor, to, bytes, 0);
  } while (count < 0 && errno == EINTR);
  return count;
}

}  // namespace

CFileMemory::CFileMemory() = default;

CFileMemory::CFileMemory(std::string path) : CFileMemory() {
  storagePath_ = std::move(path);
  if (openForRead()) loadHeader();
}

CFileMemory::CFileMemory(std::string path, unsigned long initialSize, unsigned long growthIncrement)
    : CFileMemory() {
  initialSize_ = static_cast<uint32_t>(initialSize);
  growthIncrement_ = static_cast<uint32_t>(growthIncrement);
  storagePath_ = std::move(path);
  getNewSpace(kHeaderBytes);
  storeHeader();
}

CFileMemory::~CFileMemory() {
  if (mapped_ && writable_) storeHeader();
  unmap();
  closeFile();
}

void CFileMemory::requireOpened(bool headRead, FILE* hashFile) const {
  const int readError = std::ferror(hashFile) != 0 ? errno : 0;
  const bool isMissing = openError_ == ENOENT || openError_ == ENOTDIR;
  if (openError_ != 0 && !isMissing) throwVeskaError("StorageReadError", storagePath_, openError_);
  if (headerDamaged_ || !headRead) throwVeskaError("StorageReadError", storagePath_, readError);
}

void CFileMemory::loadHeader() {
  const uint32_t used = fileSize_ >= kHeaderBytes ? loadU32(base_ + 4) : 0;
  if (used < kHeaderBytes || used > fileSize_) {
    unmap();
    closeFile();
    fileSize_ = 0;
    header_ = nullptr;
    headerDamaged_ = true;
    return;
  }
  used_ = used;
  initialSize_ = loadU32(base_ + 8);
  growthIncrement_ = loadU32(base_ + 12);
}

void CFileMemory::storeHeader() {
  header_ = base_;
  storeU32(header_, fileSize_);
  storeU32(header_ + 4, used_);
  storeU32(header_ + 8, initialSize_);
  storeU32(header_ + 12, growthIncrement_);
}

void CFileMemory::refuseToWrite(uint64_t size) const {
  const uint64_t needed = used_ + size;
  throwVeskaError("MemFileExtendFail", decimal(needed > fileSize_ ? grownSize(needed) : needed),
                  openError_);
}

unsigned long CFileMemory::getNewSpace(unsigned long size) {
  if (size > growthIncrement_) throwVeskaError("GetHugeSpace", decimal(size));
  requireWritable(size);
  const uint64_t needed = uint64_t{used_} + size;
  if (needed > fileSize_) grow(grownSize(needed));
  const unsigned long offset = used_;
  used_ = static_cast<uint32_t>(needed);
  return offset;
}

uint64_t CFileMemory::grownSize(uint64_t needed) const {
  const uint64_t old = fileSize_;
  const uint64_t grown = old == 0                 ? initialSize_
                         : old < growthIncrement_ ? 2 * old
                                                  : old + growthIncrement_;
  return std::max(grown, needed);
}

void CFileMemory::grow(uint64_t newSize) {
  if (newSize > kMaxFileBytes) throwVeskaError("GetHugeSpace", decimal(newSize));
  if (!fileOpen_) {
    descriptor_ = openFile(storagePath_, O_RDWR | O_CREAT);
    if (descriptor_ < 0) throwVeskaError("MemFileOpenFail", storagePath_, errno);
    fileOpen_ = true;
  }
  extendFile(newSize);
  void* moved = mapped_
                    ? mremap(base_, fileSize_, newSize, MREMAP_MAYMOVE)
                    : mmap(nullptr, newSize, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
  if (moved == MAP_FAILED) {
    const int reason = errno;
    const std::string path = storagePath_;
    clearAll();
    throwVeskaError("FileMapOpenRWFail", path, reason);
  }
  base_ = static_cast<char*>(moved);
  fileSize_ = static_cast<uint32_t>(newSize);
  mapped_ = true;
  writable_ = true;
}

// Cutting the file to the known size first drops what may lie behind it, so that all new bytes are
// zero.
void CFileMemory::extendFile(uint64_t newSize) {
  if (setLength(descriptor_, fileSize_) && setLength(descriptor_, newSize) &&
      reserveBlocks(descriptor_, fileSize_, newSize))
    return;
  const int reason = errno;
  setLength(descriptor_, fileSize_);
  clearAll();
  throwVeskaError("MemFileExtendFail", decimal(newSize), reason);
}

void CFileMemory::failToMap(int reason) {
  closeFile();
  throwVeskaError("FileMapWriteFail", storagePath_, reason);
}

// Opens and maps the file as long as its first word says; the header is checked later. A private
// mapping lets hosts write into records that they read, to no effect.
bool CFileMemory::mapFile(int openFlags) {
  descriptor_ = openFile(storagePath_, openFlags);
  openError_ = descriptor_ < 0 ? errno : 0;
  if (descriptor_ < 0) return false;
  fileOpen_ = true;
  char word[4];
  const ssize_t got = readStart(descriptor_, word, sizeof word);
  if (got < 0) openError_ = errno;
  if (got != static_cast<ssize_t>(sizeof word)) {
    closeFile();
    headerDamaged_ = true;
    return false;
  }
  const uint32_t size = loadU32(word);
  struct stat status {};
  const bool shared = (openFlags & O_ACCMODE) == O_RDWR;
  if (fstat(descriptor_, &status) != 0) failToMap(errno);
  if (size == 0 || status.st_size < int64_t{size} || used_ > size) failToMap(0);
  void* const mapping = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                             shared ? MAP_SHARED : MAP_PRIVATE, descriptor_, 0);
  if (mapping == MAP_FAILED) failToMap(errno);
  base_ = static_cast<char*>(mapping);
  fileSize_ = size;
  mapped_ = true;
  writable_ = shared;
  header_ = base_;
  ++mappingCount_;
  return true;
}

void CFileMemory::releaseBefore(uint32_t offset) {
  constexpr uint32_t kStepBytes = 1 << 20;  // a multiple of every page size
  if (offset < releasedBytes_) releasedBytes_ = 0;
  const uint32_t end = offset / kStepBytes * kStepBytes;
  if (!writable_ || end <= releasedBytes_ || end > fileSize_) return;
  madvise(base_ + releasedBytes_, end - releasedBytes_, MADV_DONTNEED);
  releasedBytes_ = end;
}

void CFileMemory::expectScan() const {
#ifdef MADV_POPULATE_READ
  if (mapped_) madvise(base_, used_, MADV_POPULATE_READ);
#endif
}

bool CFileMemory::openForRead() {
  if (mapped_ && writable_) storeHeader();
  unmap();
  closeFile();
  writable_ = false;
  return mapFile(O_RDONLY);
}

bool CFileMemory::openForWrite() {
  unmap();
  closeFile();
  return mapFile(O_RDWR | O_CREAT);
}

bool CFileMemory::enableWrite() {
  if (!mapped_ || !fileOpen_) return false;
  if (writable_) return true;
  if (openForWrite()) return true;
  const int reason = openError_;
  openForRead();
  openError_ = reason;
  return false;
}

bool CFileMemory::disableWrite() { return openForRead(); }

void CFileMemory::clearAll() {
  const std::string path = storagePath_;
  if (mapped_ && writable_) storeHeader();
  const int reason = unmap() ? 0 : errno;
  forget();
  if (reason != 0) throwVeskaError("UnmapFail", path, reason);
}

void CFileMemory::abandon() {
  unmap();
  forget();
}

void CFileMemory::forget() {
  closeFile();
  fileSize_ = 0;
  used_ = 0;
  header_ = nullptr;
  storagePath_.clear();
}

bool CFileMemory::unmap() {
  if (!mapped_) return true;
  mapped_ = false;
  return munmap(std::exchange(base_, nullptr), fileSize_) == 0;
}

void CFileMemory::closeFile() {
  if (fileOpen_) close(descriptor_);
  descriptor_ = -1;
  fileOpen_ = false;
}

std::string CFileMemory::getStoragePath() const {
  return storagePath_.empty() ? "." : storagePath_;
}
