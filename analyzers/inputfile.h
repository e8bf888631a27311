// A regular file open for reading, in plain system calls.

#ifndef VESKA_ANALYZERS_INPUTFILE_H_
#define VESKA_ANALYZERS_INPUTFILE_H_

#include <cstddef>
#include <cstdint>
#include <functional>

class InputFile {
 public:
  // Anything but a regular file, a pipe say, is not opened. errno then tells why.
  explicit InputFile(const char* path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  bool isOpen() const { return descriptor_ >= 0; }
  uint64_t size() const { return size_; }  // when it was opened
  int64_t time() const { return time_; }   // of the last change, Unix seconds
  // A read failed: what it was to read counts as missing.
  bool failed() const { return failed_; }

  // Reads on from where the last read ended. Result: bytes read, fewer than asked for only at the
  // file's end.
  size_t read(char* to, size_t bytes);

  // Where the next read begins. REQUIRES: below 2^63.
  void seek(uint64_t offset) { position_ = offset; }

  // Reads so many bytes from offset on, piece by piece; negative when a read failed.
  std::function<long(char* to, size_t bytes)> source(uint64_t offset, uint64_t bytes);

 private:
  int descriptor_;
  uint64_t size_ = 0;
  int64_t time_ = 0;
  uint64_t position_ = 0;
  bool failed_ = false;
};

#endif  // VESKA_ANALYZERS_INPUTFILE_H_
