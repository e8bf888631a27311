// From what the system says of a file to what a record says.

#ifndef VESKA_INDEX_STATUS_H_
#define VESKA_INDEX_STATUS_H_

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "storage/filestorage.h"

// Times outside the record's range are clamped; sizes are kept modulo 2^32. The parent is 0.
inline FileInfo recordInfo(const struct stat& status) {
  using Limits = std::numeric_limits<int32_t>;
  const int64_t time = std::clamp<int64_t>(status.st_mtime, Limits::min(), Limits::max());
  return {0, static_cast<int32_t>(time), static_cast<uint32_t>(status.st_size), 0};
}

#endif  // VESKA_INDEX_STATUS_H_
