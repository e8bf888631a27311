#include "host/scratch.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "host/errors.h"

namespace veska {
namespace {

std::string makeTemporaryFolder() {
  const char* top = std::getenv("TMPDIR");
  std::string path =
      (top != nullptr && top[0] == '/' ? std::string(top) : "/tmp") + "/veska-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    failWithErrno("cannot make a temporary folder " + path, errno);
  }
  return path;
}

}  // namespace

ScratchFolder::ScratchFolder(const Home& home, uint64_t lineage)
    : path_(home.cacheFolder(lineage)) {
  ::mkdir(path_.c_str(), 0700);
  if (::access(path_.c_str(), W_OK | X_OK) == 0) {
    lock_ = openFile(path_, O_RDONLY | O_DIRECTORY);
    if (lock_) {
      while (::flock(lock_.get(), LOCK_EX) != 0 && errno == EINTR) {
      }
      return;
    }
  }
  path_ = makeTemporaryFolder();
  own_ = true;
}

ScratchFolder::~ScratchFolder() {
  if (own_) removeTree(path_);
}

}  // namespace veska
