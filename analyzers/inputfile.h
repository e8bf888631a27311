// How analyzers read a document from disk.

#ifndef VESKA_ANALYZERS_INPUTFILE_H_
#define VESKA_ANALYZERS_INPUTFILE_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

// A regular file open for reading; anything else, a pipe say, is not opened.
class InputFile {
 public:
  explicit InputFile(const char* path)
      : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
    struct stat status {};
    if (descriptor_ < 0 || (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode))) return;
    close(descriptor_);
    descriptor_ = -1;
  }
  ~InputFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const { return descriptor_ >= 0; }
  bool failed() const { return failed_; }

  // Bytes read, fewer than asked for only at the end or on an error, which counts as the end.
  size_t read(char* to, size_t bytes) {
    size_t have = 0;
    while (have < bytes) {
      const ssize_t got = ::read(descriptor_, to + have, bytes - have);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) failed_ = true;
      if (got <= 0) break;
      have += static_cast<size_t>(got);
    }
    return have;
  }

 private:
  int descriptor_;
  bool failed_ = false;
};

#endif  // VESKA_ANALYZERS_INPUTFILE_H_
