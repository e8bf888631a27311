#include "host/home.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "host/errors.h"

namespace veska {
namespace {

constexpr std::string_view kGenerationPrefix = "generation-";

std::string userHome() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return home;
  const passwd* user = ::getpwuid(::getuid());
  if (user != nullptr && user->pw_dir != nullptr && user->pw_dir[0] == '/') return user->pw_dir;
  fail("it is not known where your home folder is", "name a folder for the index with --home DIR");
}

std::string chosenRoot(const std::string& option) {
  if (!option.empty()) return option;
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && data[0] == '/') return std::string(data) + "/veska";
  return userHome() + "/.local/share/veska";
}

void makeFolderWithParents(const std::string& path) {
  struct stat info;
  if (::stat(path.c_str(), &info) == 0) return makePrivateFolder(path);
  const size_t slash = path.rfind('/');
  if (slash != 0 && slash != std::string::npos) makeFolderWithParents(path.substr(0, slash));
  makePrivateFolder(path);
}

bool holdsOnlyOurs(const std::string& folder) {
  constexpr std::string_view kOurs[] = {".",       "..",    "veska.toml",  "externanalyzers.txt",
                                        "indexes", "cache", "skipfile.txt"};
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::opendir(folder.c_str()));
  if (!stream) return false;
  while (const dirent* entry = ::readdir(stream.get())) {
    if (std::find(std::begin(kOurs), std::end(kOurs), entry->d_name) == std::end(kOurs)) {
      return false;
    }
  }
  return true;
}

// "generation-12" is 12; anything else is 0.
uint64_t numberOf(std::string_view target) {
  if (!target.starts_with(kGenerationPrefix)) return 0;
  target.remove_prefix(kGenerationPrefix.size());
  if (target.empty() || target.size() > 18) return 0;
  uint64_t number = 0;
  for (const char c : target) {
    if (c < '0' || c > '9') return 0;
    number = number * 10 + static_cast<uint64_t>(c - '0');
  }
  return number;
}

// The target of the link; empty with errno set when it cannot be read.
std::string linkTarget(const std::string& path) {
  char target[256];
  const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
  return length < 0 ? std::string() : std::string(target, static_cast<size_t>(length));
}

}  // namespace

std::string canonicalPath(const std::string& path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> resolved(::realpath(path.c_str(), nullptr));
  if (resolved) return resolved.get();
  // What does not exist yet is named below what does.
  std::string parent = path;
  while (parent.size() > 1 && parent.back() == '/') parent.pop_back();
  const size_t slash = parent.rfind('/');
  if (slash == 0) return parent;
  const bool bare = slash == std::string::npos;
  const std::string above = canonicalPath(bare ? "." : parent.substr(0, slash));
  return (above == "/" ? "" : above) + "/" + parent.substr(bare ? 0 : slash + 1);
}

Home::Home(std::string root) : root_(std::move(root)) {}

Home Home::resolve(const std::string& option) { return Home(canonicalPath(chosenRoot(option))); }

std::string Home::generationFolder(uint64_t number) const {
  return indexFolder() + "/" + std::string(kGenerationPrefix) + std::to_string(number);
}

std::string Home::cacheFolder(uint64_t lineage) const {
  return cacheFolder() + "/" + std::to_string(lineage);
}

uint64_t Home::currentNumber() const {
  const std::string target = linkTarget(tablesLink());
  if (!target.empty()) {
    if (const uint64_t number = numberOf(target)) return number;
    fail("the link " + tablesLink() + " leads astray: " + target,
         "make the index anew with: veska rebuild");
  }
  if (errno == ENOENT || errno == ENOTDIR) return 0;
  failWithErrno("cannot read " + tablesLink(), errno);
}

std::optional<Generation> Home::openCurrent() const {
  // Between reading the link and taking the lock a writer may have switched and swept the folder
  // away; then the link has changed, and the next round finds the new one.
  constexpr int kMostRounds = 100;
  for (int round = 0; round < kMostRounds; ++round) {
    const uint64_t number = currentNumber();
    if (number == 0) return std::nullopt;
    const std::string folder = generationFolder(number);
    FileDescriptor hold = openFile(folder, O_RDONLY | O_DIRECTORY);
    if (!hold && errno != ENOENT) failWithErrno("cannot open the index " + folder, errno);
    const bool busy = hold && ::flock(hold.get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (hold && !busy && currentNumber() == number) {
      return Generation{folder + "/", number, std::move(hold)};
    }
    if (!hold && currentNumber() == number) {
      fail("the index " + folder + " is gone", "make it anew with: veska rebuild");
    }
  }
  fail("the index changes too fast to be opened", "run the command again");
}

Generation Home::requireCurrent() const {
  std::optional<Generation> current = openCurrent();
  if (!current) fail("no index yet; make one with: veska index ~/Documents");
  return std::move(*current);
}

void Home::create() const {
  makeFolderWithParents(root_);
  // A folder that was there before becomes its user's alone, unless it holds other things too.
  struct stat info;
  const bool isOpen = ::stat(root_.c_str(), &info) == 0 && (info.st_mode & 077) != 0;
  if (isOpen && info.st_uid == ::geteuid() && holdsOnlyOurs(root_)) ::chmod(root_.c_str(), 0700);
  makePrivateFolder(root_ + "/indexes");
  makePrivateFolder(indexFolder());
  makePrivateFolder(root_ + "/cache");
  makePrivateFolder(cacheFolder());
}

}  // namespace veska
