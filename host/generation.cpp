// The order of things is what keeps an index whole: the tables and state.json reach the disk, then
// their folder, then the folder above it, and only then is the link `tables` replaced by one
// rename. Whatever ends a run before the rename leaves the old generation in force; whatever ends
// it after leaves the new one. Copies made on the way are found by name and swept by the next run.
#include "host/generation.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <memory>
#include <set>
#include <vector>

#include "host/errors.h"
#include "host/signals.h"
#include "host/state.h"

namespace veska {
namespace {

constexpr std::string_view kPrefix = "generation-";
constexpr useconds_t kLockPauseMicroseconds = 100'000;
constexpr size_t kCopyBytes = size_t{64} << 20;  // between two looks at the interruption

std::vector<std::string> entriesOf(const std::string& folder) {
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  std::vector<std::string> names;
  const std::unique_ptr<DIR, Close> stream(::opendir(folder.c_str()));
  if (!stream) return names;
  while (const dirent* entry = ::readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The digits at the start of the text as a number; 0 when there are none or too many.
uint64_t leadingNumber(std::string_view text, size_t* digits) {
  uint64_t number = 0;
  size_t length = 0;
  while (length < text.size() && std::isdigit(static_cast<unsigned char>(text[length])) != 0) {
    number = number * 10 + static_cast<uint64_t>(text[length] - '0');
    ++length;
  }
  *digits = length;
  return length > 18 ? 0 : number;
}

std::vector<uint64_t> generationNumbers(const Home& home) {
  std::vector<uint64_t> numbers;
  for (const std::string& name : entriesOf(home.indexFolder())) {
    if (!name.starts_with(kPrefix)) continue;
    const std::string_view rest = std::string_view(name).substr(kPrefix.size());
    size_t digits = 0;
    const uint64_t number = leadingNumber(rest, &digits);
    if (number != 0 && digits == rest.size()) numbers.push_back(number);
  }
  return numbers;
}

// 0 when there is none, or when the link is damaged: making a new generation repairs that. Fails
// when it cannot be told, since all other generations are swept.
uint64_t numberInForce(const Home& home) {
  char target[64];
  const ssize_t length = ::readlink(home.tablesLink().c_str(), target, sizeof target);
  if (length < 0 && errno != ENOENT && errno != EINVAL) {
    failWithErrno("cannot read " + home.tablesLink(), errno);
  }
  const std::string_view name(target, length < 0 ? 0 : static_cast<size_t>(length));
  if (!name.starts_with(kPrefix)) return 0;
  size_t digits = 0;
  return leadingNumber(name.substr(kPrefix.size()), &digits);
}

bool copyRest(int from, int to) {
  std::vector<char> block(size_t{1} << 20);
  for (;;) {
    const ssize_t got = ::read(from, block.data(), block.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!writeAll(to, {block.data(), static_cast<size_t>(got)})) return false;
  }
}

void copyTable(const std::string& source, const std::string& target,
               const std::function<bool()>& interrupted) {
  const FileDescriptor from = openFile(source, O_RDONLY | O_NOFOLLOW);
  if (!from) failWithErrno("cannot read the table " + source, errno, "repair with: veska rebuild");
  const FileDescriptor to = openFile(target, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (!to) failWithErrno("cannot create " + target, errno);
  if (::ioctl(to.get(), FICLONE, from.get()) == 0) return;
  for (;;) {
    if (interrupted()) fail("interrupted", "", kExitInterrupted);
    const ssize_t copied = ::copy_file_range(from.get(), nullptr, to.get(), nullptr, kCopyBytes, 0);
    if (copied > 0 || (copied < 0 && errno == EINTR)) continue;
    if (copied == 0) return;
    const bool unable = errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                        errno == EOPNOTSUPP || errno == EBADF;
    if (unable && copyRest(from.get(), to.get())) return;
    failWithErrno("cannot copy the table " + source + " to " + target, errno,
                  "make room on the disk and run the command again");
  }
}

// Takes the folder for removal; nothing when somebody reads there.
FileDescriptor holdForRemoval(const std::string& folder) {
  FileDescriptor hold = openFile(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (hold && ::flock(hold.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) hold.close();
  return hold;
}

// What is kept is named after its record: "123.txt", or "123" for a converter's output. 0 for
// others.
uint64_t recordOfCached(std::string_view name) {
  size_t digits = 0;
  const uint64_t id = leadingNumber(name, &digits);
  return digits == name.size() || name[digits] == '.' ? id : 0;
}

std::string lockHolder(int lock) {
  char text[32];
  const ssize_t length = ::pread(lock, text, sizeof text, 0);
  size_t digits = 0;
  const std::string_view read(text, length < 0 ? 0 : static_cast<size_t>(length));
  const uint64_t process = leadingNumber(read, &digits);
  return process == 0 ? std::string("another process") : "process " + std::to_string(process);
}

}  // namespace

WriterLock::WriterLock(const Home& home, bool wait) {
  home.create();
  const std::string path = home.lockFile();
  lock_ = openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
  if (!lock_) failWithErrno("cannot open " + path, errno);
  while (::flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK && !wait) {
      fail(lockHolder(lock_.get()) + " is writing to the index in " + home.root(),
           "wait until it ends, or let this command wait with --wait");
    }
    if (errno != EINTR && errno != EWOULDBLOCK) failWithErrno("cannot lock " + path, errno);
    if (haltRequested()) fail("interrupted", "", kExitInterrupted);
    ::usleep(kLockPauseMicroseconds);
  }
  const std::string process = std::to_string(::getpid()) + "\n";
  if (::ftruncate(lock_.get(), 0) != 0 || !writeAll(lock_.get(), process)) {
    failWithErrno("cannot write " + path, errno);
  }
}

NewGeneration::NewGeneration(const Home& home, const WriterLock&)
    : home_(home), number_(numberInForce(home)) {
  for (const uint64_t number : generationNumbers(home)) number_ = std::max(number_, number);
  ++number_;
  path_ = home.generationFolder(number_) + "/";
  makePrivateFolder(home.generationFolder(number_));
}

void NewGeneration::copyTables(const Generation& base, const std::function<bool()>& interrupted) {
  for (const std::string_view name : kTableNames) {
    copyTable(base.path + std::string(name), path_ + std::string(name), interrupted);
  }
}

NewGeneration::~NewGeneration() {
  if (!committed_) removeTree(home_.generationFolder(number_));
}

void NewGeneration::commit() {
  for (const std::string_view name : kTableNames) syncPath(path_ + std::string(name));
  syncPath(path_);
  syncPath(home_.indexFolder());
  const std::string fresh = home_.tablesLink() + ".new";
  const std::string target = std::string(kPrefix) + std::to_string(number_);
  removeTree(fresh);
  if (::symlink(target.c_str(), fresh.c_str()) != 0 ||
      ::rename(fresh.c_str(), home_.tablesLink().c_str()) != 0) {
    failWithErrno("cannot put the new index in force, " + home_.tablesLink(), errno);
  }
  committed_ = true;
  syncPath(home_.indexFolder());
}

void sweepGenerations(const Home& home, const WriterLock&) {
  removeTree(home.tablesLink() + ".new");
  const uint64_t inForce = numberInForce(home);
  std::set<uint64_t> lineages;
  for (const uint64_t number : generationNumbers(home)) {
    const std::string folder = home.generationFolder(number);
    const FileDescriptor hold = number == inForce ? FileDescriptor() : holdForRemoval(folder);
    if (hold) {
      removeTree(folder);
    } else if (const std::optional<uint64_t> lineage = lineageOf(folder + "/")) {
      lineages.insert(*lineage);
    } else {
      return;  // its lineage is not known, so no cache is known to be useless
    }
  }
  for (const std::string& name : entriesOf(home.cacheFolder())) {
    size_t digits = 0;
    if (lineages.contains(leadingNumber(name, &digits)) && digits == name.size()) continue;
    const std::string folder = home.cacheFolder() + "/" + name;
    if (const FileDescriptor hold = holdForRemoval(folder)) removeTree(folder);
  }
}

std::vector<uint64_t> cachedRecords(const Home& home, uint64_t lineage) {
  std::vector<uint64_t> ids;
  for (const std::string& name : entriesOf(home.cacheFolder(lineage))) {
    if (const uint64_t id = recordOfCached(name)) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

void sweepCache(const Home& home, const WriterLock&, uint64_t lineage,
                const std::function<bool(uint64_t id)>& isLive) {
  const std::string folder = home.cacheFolder(lineage);
  const FileDescriptor hold = holdForRemoval(folder);
  if (!hold) return;
  for (const std::string& name : entriesOf(folder)) {
    const uint64_t id = recordOfCached(name);
    if (id == 0 || !isLive(id)) removeTree(folder + "/" + name);
  }
}

}  // namespace veska
