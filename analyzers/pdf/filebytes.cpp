#include "analyzers/pdf/filebytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace veska::pdf {
namespace {

constexpr uint64_t kBlockBytes = 128 << 10;
constexpr uint64_t kMaxFileBytes = uint64_t{16} << 30;

char* reserve(uint64_t bytes) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<char*>(memory);
}

}  // namespace

FileBytes::~FileBytes() { close(); }

void FileBytes::close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (bytes_) munmap(bytes_, size_);
  descriptor_ = -1;
  bytes_ = nullptr;
  size_ = 0;
  loaded_.clear();
}

bool FileBytes::open(const std::string& path) {
  close();
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor_ < 0) return false;
  struct stat status;
  if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    close();
    return false;
  }
  const uint64_t size = std::min(static_cast<uint64_t>(status.st_size), kMaxFileBytes);
  if (size == 0) return true;
  bytes_ = reserve(size);
  if (!bytes_) {
    close();
    return false;
  }
  size_ = size;
  loaded_.assign((size + kBlockBytes - 1) / kBlockBytes, false);
  return true;
}

void FileBytes::assign(std::string_view bytes) {
  close();
  if (bytes.empty()) return;
  bytes_ = reserve(bytes.size());
  if (!bytes_) return;
  size_ = bytes.size();
  std::memcpy(bytes_, bytes.data(), bytes.size());
}

std::string_view FileBytes::read(uint64_t offset, uint64_t length) {
  if (offset >= size_) return {};
  length = std::min(length, size_ - offset);
  if (length == 0) return {};
  if (!loaded_.empty()) load(offset / kBlockBytes, (offset + length - 1) / kBlockBytes);
  return {bytes_ + offset, length};
}

void FileBytes::load(uint64_t firstBlock, uint64_t lastBlock) {
  for (uint64_t block = firstBlock; block <= lastBlock; ++block) {
    if (loaded_[block]) continue;
    uint64_t end = block + 1;
    while (end <= lastBlock && !loaded_[end]) ++end;
    std::fill(loaded_.begin() + static_cast<std::ptrdiff_t>(block),
              loaded_.begin() + static_cast<std::ptrdiff_t>(end), true);
    uint64_t at = block * kBlockBytes;
    const uint64_t stop = std::min(end * kBlockBytes, size_);
    while (at < stop) {
      const ssize_t got = pread(descriptor_, bytes_ + at, stop - at, static_cast<off_t>(at));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      at += static_cast<uint64_t>(got);
    }
    block = end - 1;
  }
}

}  // namespace veska::pdf
