// What zlib and minizip return when there is no memory.

#ifndef VESKA_ANALYZERS_ZLIBMEMORY_H_
#define VESKA_ANALYZERS_ZLIBMEMORY_H_

#include <minizip/unzip.h>
#include <zlib.h>

#include <cerrno>
#include <new>

// Both libraries tell a lack of memory by a result like any other, and a sound file would pass for
// a damaged one. Result: what was given. Errors: std::bad_alloc when it tells a lack of memory.
inline int memoryChecked(int result) {
  if (result == Z_MEM_ERROR || result == UNZ_INTERNALERROR) throw std::bad_alloc();
  return result;
}

// The same for an archive that minizip opened; errno must have been 0 before.
inline unzFile memoryChecked(unzFile archive) {
  if (archive == nullptr && errno == ENOMEM) throw std::bad_alloc();
  return archive;
}

#endif  // VESKA_ANALYZERS_ZLIBMEMORY_H_
