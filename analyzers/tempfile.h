// Files in the index's temporary directory.

#ifndef VESKA_ANALYZERS_TEMPFILE_H_
#define VESKA_ANALYZERS_TEMPFILE_H_

#include <cstddef>
#include <string>
#include <string_view>

// A file of our own: made afresh with mode 0600 in place of what stood under its path, never
// through a link, and removed with its object on every way out.
class TempFile {
 public:
  // Makes the file. isOpen tells whether that was possible.
  explicit TempFile(std::string path);
  ~TempFile();
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;

  bool isOpen() const { return descriptor_ >= 0; }
  const std::string& path() const { return path_; }

  // Appends. Result: false when the system refused (a full disk, ...).
  bool write(const char* bytes, size_t count);

  // Ends writing, so that the file can be read by its path. Result: false when bytes were lost.
  bool close();

  // Leaves the file where it is when the object goes.
  void keep() { kept_ = true; }

 private:
  std::string path_;
  int descriptor_ = -1;
  bool made_ = false;
  bool kept_ = false;
};

// Removes a file, whatever way the scope is left.
class FileRemover {
 public:
  explicit FileRemover(std::string path) : path_(std::move(path)) {}
  ~FileRemover();
  FileRemover(const FileRemover&) = delete;
  FileRemover& operator=(const FileRemover&) = delete;

 private:
  std::string path_;
};

// Path "directory/NUMBERsuffix". The suffix is foreign: what would lead out of the directory ("/",
// zero bytes) is left out, and of one that is too long for a file name the end is taken, where the
// extension stands. Result: empty when there is no directory, or when the path is too long to be
// one.
std::string temporaryPath(const std::string& directory, unsigned long number,
                          std::string_view suffix);

#endif  // VESKA_ANALYZERS_TEMPFILE_H_
