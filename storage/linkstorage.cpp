#include "storage/linkstorage.h"

#include <utility>

#include "api/reporting.h"
#include "storage/bytes.h"
#include "storage/hashentries.h"

namespace {

constexpr uint32_t kLinksMagic = 12360001;
constexpr uint32_t kIdBytes = 4;
constexpr uint32_t kRemoved = 1;
constexpr unsigned char kUncounted = 255;

bool storeBlock(FILE* stream, bool ranking) {
  return writeU32(stream, kLinksMagic) && std::fputc(ranking, stream) != EOF;
}

bool readBlock(FILE* stream, bool& ranking) {
  uint32_t magic = 0;
  if (!readU32(stream, magic) || magic != kLinksMagic) return false;
  const int flag = std::fgetc(stream);
  if (flag != 0 && flag != 1) return false;
  ranking = flag == 1;
  return true;
}

// Address of bytes bytes at offset, null unless all of them lie below used.
char* reach(const CFileMemory& memory, unsigned long offset, uint32_t bytes) {
  const auto at = static_cast<uint32_t>(offset);
  if (at >= memory.usedBytes() || memory.usedBytes() - at < bytes) return nullptr;
  return static_cast<char*>(memory.getPointer(at));
}

char* require(const CFileMemory& memory, unsigned long offset, uint32_t bytes) {
  char* at = reach(memory, offset, bytes);
  if (!at) throwVeskaError("AssertionFailed", {});
  return at;
}

void writeEntry(char* at, unsigned long target, bool ranking, unsigned char count) {
  storeU32(at, static_cast<uint32_t>(target));
  if (ranking) at[kIdBytes] = static_cast<char>(count);
}

unsigned long readEntry(const CFileMemory& memory, unsigned long& cursor, bool ranking,
                        unsigned char& count) {
  const uint32_t bytes = ranking ? kIdBytes + 1 : kIdBytes;
  const char* at = reach(memory, cursor, bytes);
  cursor = static_cast<uint32_t>(cursor + bytes);
  count = 0;
  if (!at) return 0;
  count = ranking ? static_cast<unsigned char>(at[kIdBytes]) : kUncounted;
  return loadU32(at);
}

}  // namespace

CFileLinks::CFileLinks(std::string path, unsigned long initialSize, unsigned long growthIncrement,
                       bool ranking)
    : CFileMemory(std::move(path), initialSize, growthIncrement), ranking_(ranking) {}

CFileLinks::CFileLinks(std::string path, FILE* hashFile) : CFileMemory(std::move(path)) {
  requireOpened(read(hashFile), hashFile);
}

unsigned long CFileLinks::getSpace(int size) {
  return getNewSpace(static_cast<unsigned long>(size));
}

void CFileLinks::addFile(unsigned long offset, unsigned long fileId, unsigned char count) {
  char* const at = require(*this, offset, entryBytes());
  requireWritable(0);
  writeEntry(at, fileId, ranking_, count);
}

unsigned long CFileLinks::getFile(unsigned long& cursor, unsigned char& count) const {
  return readEntry(*this, cursor, ranking_, count);
}

void CFileLinks::setNextList(unsigned long offset, unsigned long next) {
  char* const at = require(*this, offset, kIdBytes);
  requireWritable(0);
  storeU32(at, static_cast<uint32_t>(next));
}

unsigned long CFileLinks::getNextList(unsigned long offset) const {
  const uint32_t next = loadU32(require(*this, offset, kIdBytes));
  if (next >= static_cast<uint32_t>(offset)) throwVeskaError("AssertionFailed", {});
  return next;
}

void CFileLinks::removeFile(unsigned long fileId) {
  requireWritable(0);
  const auto id = static_cast<uint32_t>(fileId);
  for (uint64_t offset = 0; offset + kIdBytes <= usedBytes(); offset += entryBytes()) {
    auto* at = static_cast<char*>(getPointer(offset));
    if (!at) return;
    if (loadU32(at) == id) storeU32(at, kRemoved);
  }
}

bool CFileLinks::store(FILE* stream) const { return storeBlock(stream, ranking_); }
bool CFileLinks::read(FILE* stream) { return readBlock(stream, ranking_); }

CWordLinks::CWordLinks(std::string path, unsigned long initialSize, unsigned long growthIncrement,
                       bool ranking)
    : CFileMemory(std::move(path), initialSize, growthIncrement), ranking_(ranking) {}

CWordLinks::CWordLinks(std::string path, FILE* hashFile) : CFileMemory(std::move(path)) {
  requireOpened(read(hashFile), hashFile);
}

void CWordLinks::addWord(unsigned long fileId, unsigned long wordId, unsigned char count) {
  const auto file = static_cast<uint32_t>(fileId);
  if (file != currentFile_) {
    if (currentFile_ != 0) getNewSpace(entryBytes());
    releaseBefore(usedBytes());
    currentFile_ = 0;
    groupHeader_ = static_cast<uint32_t>(getNewSpace(kIdBytes));
    storeU32(getPointer(groupHeader_), file);
    currentFile_ = file;
  }
  const unsigned long at = getNewSpace(entryBytes());
  writeEntry(static_cast<char*>(getPointer(at)), wordId, ranking_, count);
}

unsigned long CWordLinks::getFile(unsigned long& cursor) const {
  const char* at = reach(*this, cursor, kIdBytes);
  cursor = static_cast<uint32_t>(cursor + kIdBytes);
  return at ? loadU32(at) : 0;
}

unsigned long CWordLinks::getWord(unsigned long& cursor, unsigned char& count) const {
  return readEntry(*this, cursor, ranking_, count);
}

bool CWordLinks::store(FILE* stream) const { return storeBlock(stream, ranking_); }
bool CWordLinks::read(FILE* stream) { return readBlock(stream, ranking_); }
