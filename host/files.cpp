#include "host/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>

#include "host/errors.h"

namespace veska {
namespace {

std::string folderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// Empties the folder behind the descriptor, which it takes over. Folders below are reached by
// descriptor, so that a path swapped for a link meanwhile leads nowhere else.
void emptyFolder(int descriptor, int levelsLeft) {
  DIR* stream = ::fdopendir(descriptor);
  if (stream == nullptr) {
    ::close(descriptor);
    return;
  }
  while (const dirent* entry = ::readdir(stream)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (::unlinkat(::dirfd(stream), name.c_str(), 0) == 0 || levelsLeft == 0) continue;
    const int below =
        ::openat(::dirfd(stream), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (below < 0) continue;
    emptyFolder(below, levelsLeft - 1);
    ::unlinkat(::dirfd(stream), name.c_str(), AT_REMOVEDIR);
  }
  ::closedir(stream);
}

// Deeper than anything that the program makes.
constexpr int kDeepestFolder = 16;

}  // namespace

void FileDescriptor::close() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

FileDescriptor openFile(const std::string& path, int flags, unsigned mode) {
  int descriptor;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EINTR);
  return FileDescriptor(descriptor);
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

bool readWholeFile(const std::string& path, std::string* bytes, size_t limit) {
  bytes->clear();
  const FileDescriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
  if (!file) return false;
  char block[1 << 14];
  while (bytes->size() < limit) {
    const ssize_t got = ::read(file.get(), block, std::min(sizeof block, limit - bytes->size()));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    bytes->append(block, static_cast<size_t>(got));
  }
  return true;
}

void replaceFile(const std::string& path, std::string_view bytes) {
  const std::string fresh = path + ".new";
  ::unlink(fresh.c_str());
  {
    const FileDescriptor file = openFile(fresh, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!file) failWithErrno("cannot write " + fresh, errno);
    if (::fchmod(file.get(), 0600) != 0 || !writeAll(file.get(), bytes) ||
        ::fsync(file.get()) != 0) {
      const int number = errno;
      ::unlink(fresh.c_str());
      failWithErrno("cannot write " + fresh, number);
    }
  }
  if (::rename(fresh.c_str(), path.c_str()) != 0) {
    const int number = errno;
    ::unlink(fresh.c_str());
    failWithErrno("cannot replace " + path, number);
  }
  syncPath(folderOf(path));
}

void makePrivateFolder(const std::string& path) {
  if (::mkdir(path.c_str(), 0700) == 0) {
    // The umask may have taken the owner's own rights.
    if (::chmod(path.c_str(), 0700) != 0) failWithErrno("cannot set the rights of " + path, errno);
    syncPath(folderOf(path));
    return;
  }
  if (errno == EEXIST) {
    struct stat info;
    const bool isKnown = ::stat(path.c_str(), &info) == 0;
    if (isKnown && S_ISDIR(info.st_mode)) return;
    if (isKnown) errno = EEXIST;
  }
  failWithErrno("cannot make the folder " + path, errno);
}

void syncPath(const std::string& path) {
  const FileDescriptor file = openFile(path, O_RDONLY);
  if (!file) failWithErrno("cannot open " + path, errno);
  if (::fsync(file.get()) == 0) return;
  // File systems without a sync for folders say so; there is nothing to be done about it.
  if (errno != EINVAL && errno != ENOTSUP) failWithErrno("cannot save " + path, errno);
}

void removeTree(const std::string& path) {
  if (::unlink(path.c_str()) == 0) return;
  const int folder = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) return;
  emptyFolder(folder, kDeepestFolder);
  ::rmdir(path.c_str());
}

}  // namespace veska
