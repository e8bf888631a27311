#include "analyzers/inputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

InputFile::InputFile(const char* path) : descriptor_(open(path, O_RDONLY | O_CLOEXEC)) {
  struct stat status;
  if (isOpen() && fstat(descriptor_, &status) == 0) size_ = static_cast<uint64_t>(status.st_size);
}

InputFile::~InputFile() {
  if (isOpen()) close(descriptor_);
}

size_t InputFile::read(uint64_t offset, char* to, size_t bytes) {
  size_t done = 0;
  while (done < bytes) {
    const ssize_t got =
        pread(descriptor_, to + done, bytes - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    failed_ = failed_ || got < 0;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}

std::function<long(char* to, size_t bytes)> InputFile::source(uint64_t offset, uint64_t bytes) {
  return [this, offset, left = bytes](char* to, size_t wanted) mutable -> long {
    const size_t got = read(offset, to, static_cast<size_t>(std::min<uint64_t>(wanted, left)));
    offset += got;
    left -= got;
    return got == 0 && failed_ ? -1 : static_cast<long>(got);
  };
}
