// The bytes of a file, read only where they are looked at. A document of many megabytes of pictures
// costs the few pages that hold its text, and a file that shrinks while it is read gives zeros
// rather than a signal, as it would if it were mapped.

#ifndef VESKA_ANALYZERS_PDF_FILEBYTES_H_
#define VESKA_ANALYZERS_PDF_FILEBYTES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace veska::pdf {

class FileBytes {
 public:
  FileBytes() = default;
  ~FileBytes();
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  // Opens the file for reading. Result: false when it cannot be opened or is no regular file.
  bool open(const std::string& path);

  // Takes bytes that are in memory already; they are copied.
  void assign(std::string_view bytes);

  uint64_t size() const { return size_; }

  // The bytes from offset on, at most length of them, fewer at the end of the file; valid and
  // unmoved for the life of this object. Bytes that can no longer be read are zeros.
  std::string_view read(uint64_t offset, uint64_t length);

 private:
  void close();
  void load(uint64_t firstBlock, uint64_t lastBlock);

  int descriptor_ = -1;
  char* bytes_ = nullptr;  // anonymous memory as long as the file; only blocks that were read cost
  uint64_t size_ = 0;
  std::vector<bool> loaded_;  // one for each block
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_FILEBYTES_H_
