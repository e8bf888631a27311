#include "storage/bucketarray.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "storage/hashentries.h"

namespace {

// Smaller arrays are read: that is cheaper, and does not hold on to the file.
constexpr uint32_t kMappedFrom = 1 << 16;

}  // namespace

void BucketArray::Unmap::operator()(void* base) const { munmap(base, bytes); }

bool BucketArray::read(FILE* stream) {
  *this = BucketArray();
  uint32_t count = 0;
  if (!readHashEntriesHead(stream, count)) return false;
  if (count >= kMappedFrom && mapFrom(stream, count)) return true;
  own_ = readHeads(stream, count);
  if (!own_) return false;
  heads_ = own_.get();
  count_ = count;
  return true;
}

// Result: false when it must be read instead; the stream then stands where it was.
bool BucketArray::mapFrom(FILE* stream, uint32_t count) {
  const off_t start = ftello(stream);
  struct stat file;
  if (start < 0 || start % off_t{sizeof(uint32_t)} != 0 || fstat(fileno(stream), &file) != 0 ||
      !S_ISREG(file.st_mode))
    return false;
  const off_t bytes = off_t{count} * off_t{sizeof(uint32_t)};
  if (file.st_size - start < bytes) return false;
  const off_t inPage = start % sysconf(_SC_PAGESIZE);
  const auto length = static_cast<size_t>(inPage + bytes);
  void* const base =
      mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE, fileno(stream), start - inPage);
  if (base == MAP_FAILED) return false;
  std::unique_ptr<void, Unmap> mapping(base, Unmap{length});
  if (fseeko(stream, start + bytes, SEEK_SET) != 0) return false;
  mapping_ = std::move(mapping);
  heads_ = reinterpret_cast<uint32_t*>(static_cast<char*>(base) + inPage);
  count_ = count;
  return true;
}
