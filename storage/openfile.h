// open() that a signal does not end.

#ifndef VESKA_STORAGE_OPENFILE_H_
#define VESKA_STORAGE_OPENFILE_H_

#include <fcntl.h>
#include <sys/types.h>

#include <cerrno>

// As open, called again when a signal interrupted it.
inline int openRetrying(const char* path, int flags, mode_t mode = 0) {
  int descriptor;
  do {
    descriptor = open(path, flags, mode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

#endif  // VESKA_STORAGE_OPENFILE_H_
