// Small things about files that the C++ library does not offer: owned descriptors, private modes,
// writing so that it lasts.
#pragma once

#include <string>
#include <string_view>
#include <utility>

namespace veska {

// Owns a descriptor; -1: none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  void close();

 private:
  int descriptor_ = -1;
};

// As open(2), called again when a signal interrupted it.
FileDescriptor openFile(const std::string& path, int flags, unsigned mode = 0);

// Writes all the bytes where the descriptor stands; false with errno set when that fails.
bool writeAll(int descriptor, std::string_view bytes);

// The whole file, at most `limit` bytes of it; false with errno set when it cannot be read.
bool readWholeFile(const std::string& path, std::string* bytes, size_t limit = size_t{64} << 20);

// Replaces the file by a new one with these bytes, mode 0600, on stable storage: written under
// another name in the same folder, synced, renamed. A link in its place is not followed. Fails.
void replaceFile(const std::string& path, std::string_view bytes);

// Makes the folder with mode 0700 when it is missing. Fails.
void makePrivateFolder(const std::string& path);

// fsync of a file or folder. Fails.
void syncPath(const std::string& path);

// Removes a file or a folder with all below; links are removed, not followed. Errors are ignored.
void removeTree(const std::string& path);

}  // namespace veska
