// A file that is read by position, in plain system calls.

#ifndef VESKA_ANALYZERS_INPUTFILE_H_
#define VESKA_ANALYZERS_INPUTFILE_H_

#include <cstddef>
#include <cstdint>
#include <functional>

class InputFile {
 public:
  explicit InputFile(const char* path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const { return descriptor_ >= 0; }
  uint64_t size() const { return size_; }  // when it was opened
  // A read failed: what it was to read counts as missing.
  bool failed() const { return failed_; }

  // Reads from offset on. Result: bytes read, fewer than asked for only at the file's end.
  // REQUIRES: offset + bytes below 2^63.
  size_t read(uint64_t offset, char* to, size_t bytes);

  // Reads bytes from offset on, piece by piece; negative when a read failed.
  std::function<long(char* to, size_t bytes)> source(uint64_t offset, uint64_t bytes);

 private:
  int descriptor_;
  uint64_t size_ = 0;
  bool failed_ = false;
};

#endif  // VESKA_ANALYZERS_INPUTFILE_H_
