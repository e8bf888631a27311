// A buffered C stream that closes itself.

#ifndef VESKA_STORAGE_STDIOFILE_H_
#define VESKA_STORAGE_STDIOFILE_H_

#include <cstdio>
#include <memory>

struct StdioCloser {
  void operator()(FILE* stream) const { std::fclose(stream); }
};

using StdioFile = std::unique_ptr<FILE, StdioCloser>;

// Opens a file; mode as for fopen, with "e" so that started programs do not inherit it. Null on
// failure.
inline StdioFile openStdio(const char* path, const char* mode) {
  return StdioFile(std::fopen(path, mode));
}

#endif  // VESKA_STORAGE_STDIOFILE_H_
