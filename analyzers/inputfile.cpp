#include "analyzers/inputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "storage/openfile.h"

InputFile::InputFile(const char* path)
    : descriptor_(openRetrying(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
  struct stat status {};
  if (descriptor_ < 0) return;
  const bool known = fstat(descriptor_, &status) == 0;
  if (!known || !S_ISREG(status.st_mode)) {
    const int reason = known ? ENOTSUP : errno;
    close(descriptor_);
    descriptor_ = -1;
    errno = reason;
    return;
  }
  size_ = static_cast<uint64_t>(status.st_size);
  time_ = status.st_mtime;
}

InputFile::~InputFile() {
  if (isOpen()) close(descriptor_);
}

size_t InputFile::read(char* to, size_t bytes) {
  size_t done = 0;
  // Not a byte more than the file had when it was opened: that spares a read to learn that it ends.
  while (done < bytes && (position_ < size_ || size_ == 0)) {
    const ssize_t got = pread(descriptor_, to + done, bytes - done, static_cast<off_t>(position_));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) failed_ = true;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
    position_ += static_cast<uint64_t>(got);
  }
  return done;
}

std::function<long(char* to, size_t bytes)> InputFile::source(uint64_t offset, uint64_t bytes) {
  seek(offset);
  return [this, left = bytes](char* to, size_t wanted) mutable -> long {
    const size_t got = read(to, static_cast<size_t>(std::min<uint64_t>(wanted, left)));
    left -= got;
    return got == 0 && failed_ ? -1 : static_cast<long>(got);
  };
}
