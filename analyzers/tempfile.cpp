#include "analyzers/tempfile.h"

#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "storage/openfile.h"

namespace {

constexpr size_t kMaxPathBytes = 1023;

std::string withoutSeparators(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c != '/' && c != '\0') result += c;
  }
  return result;
}

}  // namespace

TempFile::TempFile(std::string path) : path_(std::move(path)) {
  if (path_.empty()) return;
  unlink(path_.c_str());
  descriptor_ =
      openRetrying(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  made_ = descriptor_ >= 0;
}

TempFile::~TempFile() {
  close();
  if (made_ && !kept_) unlink(path_.c_str());
}

bool TempFile::write(const char* bytes, size_t count) {
  while (count != 0) {
    const ssize_t written = ::write(descriptor_, bytes, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    count -= static_cast<size_t>(written);
  }
  return true;
}

bool TempFile::close() {
  const int descriptor = std::exchange(descriptor_, -1);
  return descriptor < 0 || ::close(descriptor) == 0;
}

FileRemover::~FileRemover() { unlink(path_.c_str()); }

std::string temporaryPath(const std::string& directory, unsigned long number,
                          std::string_view suffix) {
  if (directory.empty()) return {};
  const std::string digits = std::to_string(static_cast<int32_t>(number));
  std::string tail = withoutSeparators(suffix);
  if (digits.size() + tail.size() > NAME_MAX) tail.erase(0, digits.size() + tail.size() - NAME_MAX);
  std::string path = directory + '/' + digits + tail;
  return path.size() <= kMaxPathBytes ? path : std::string();
}
