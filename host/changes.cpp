#include "host/changes.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "host/errors.h"
#include "host/session.h"

namespace veska {
namespace {

constexpr double kSecondsFrom1904To1970 = 2082844800.0;
constexpr unsigned char kObsoleteMark = 0xFF;

struct CloseStream {
  void operator()(DIR* stream) const { ::closedir(stream); }
};
using Stream = std::unique_ptr<DIR, CloseStream>;

int64_t nanoseconds(const timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

bool isDots(const char* name) {
  return name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0'));
}

bool isObsolete(const char* name) { return static_cast<unsigned char>(name[0]) == kObsoleteMark; }

std::string joined(const std::string& folder, const char* name) {
  return folder == "/" ? folder + name : folder + "/" + name;
}

// Whether the folder or an archive that the record belongs to is obsolete.
bool liesInObsolete(CFileStorage* files, void* record) {
  constexpr int kDeepestNesting = 128;
  for (int level = 0; level < kDeepestNesting; ++level) {
    const uint32_t parent = vfiGetFileParentID(record);
    if (parent == 0) return false;
    record = recordFields(files, parent);
    if (isObsolete(vfiGetFileName(record))) return true;
  }
  return true;
}

// As a record holds it: clamped to signed 32 bits.
int64_t recordTime(const struct stat& info) {
  return std::clamp<int64_t>(info.st_mtime, INT32_MIN, INT32_MAX);
}

}  // namespace

void* recordFields(CFileStorage* files, unsigned long id) {
  void* fields = vfsGetInfo(files, id);
  if (fields == nullptr) {
    fail("the index is damaged: something leads to a file record that does not exist",
         "see what is wrong with: veska verify; repair with: veska rebuild");
  }
  return fields;
}

bool liesIn(const std::string& path, const std::string& folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

RootSight lookAtRoot(const std::string& root) {
  const Stream stream(::opendir(root.c_str()));
  if (!stream) return RootSight::kMissing;
  errno = 0;
  while (const dirent* entry = ::readdir(stream.get())) {
    if (!isDots(entry->d_name)) return RootSight::kFilled;
  }
  return errno != 0 ? RootSight::kMissing : RootSight::kEmpty;
}

bool statOfProblem(const std::string& path, Problem* problem) {
  struct stat info;
  std::string file = path;
  while (::stat(file.c_str(), &info) != 0) {
    const size_t slash = file.rfind('/');
    if (slash == std::string::npos || slash == 0) return false;
    file.resize(slash);
  }
  if (S_ISDIR(info.st_mode) && file != path) return false;
  problem->modified = nanoseconds(info.st_mtim);
  problem->changed = nanoseconds(info.st_ctim);
  problem->size = static_cast<uint64_t>(info.st_size);
  return true;
}

ChangeFinder::ChangeFinder(CVeskaIndex* index, const Settings& settings, const State& state,
                           const std::vector<Problem>& problems, const std::string& ownFolder)
    : files_(vidxGetFiles(index)), settings_(settings), state_(state), ownFolder_(ownFolder) {
  for (const Problem& problem : problems) problems_.emplace(problem.path, &problem);
}

Changes ChangeFinder::find(const std::vector<uint64_t>& cachedIds,
                           const std::function<bool()>& interrupted) {
  return engineCall([&] {
    Changes changes;
    changes.any = !state_.complete;
    changes.missingRoots = findMissingRoots();
    const auto isMissing = [&](const std::string& path) {
      return std::any_of(changes.missingRoots.begin(), changes.missingRoots.end(),
                         [&](const std::string& root) { return liesIn(path, root); });
    };
    for (auto id = vfsGetFirst(files_); id != 0; id = vfsGetNext(files_, id)) {
      if (interrupted()) fail("interrupted", "", kExitInterrupted);
      const Record record = recordAt(id);
      if (isObsolete(record.name)) continue;
      if (std::binary_search(cachedIds.begin(), cachedIds.end(), id)) {
        changes.liveCached.push_back(id);
      }
      if (changes.any || isMember(record)) continue;
      const std::string path = pathOf(record);
      changes.any = !isMissing(path) && differs(record, path);
    }
    return changes;
  });
}

ChangeFinder::Record ChangeFinder::recordAt(unsigned long id) const {
  void* info = recordFields(files_, id);
  return {static_cast<uint32_t>(id), vfiGetFileParentID(info),
          static_cast<int64_t>(vfiGetFileTimeLastWritten(info) - kSecondsFrom1904To1970),
          vfiGetFileSize(info), vfiGetFileName(info)};
}

// Of an archive or a mailbox: it stands and falls with that.
bool ChangeFinder::isMember(const Record& record) const {
  return record.parent != 0 && vfiGetFileParentID(recordFields(files_, record.parent)) != 0;
}

std::string ChangeFinder::pathOf(const Record& record) const {
  if (record.parent == 0) return record.name;
  return joined(vfiGetFileName(recordFields(files_, record.parent)), record.name);
}

bool ChangeFinder::differs(const Record& record, const std::string& path) const {
  struct stat info;
  // A file that became a link is gone as a file.
  if ((isRoot(path) ? ::stat(path.c_str(), &info) : ::lstat(path.c_str(), &info)) != 0) {
    // That it cannot be looked at, say for the length of its path, is news once.
    return errno == ENOENT || errno == ENOTDIR || !problems_.contains(path);
  }
  if (record.parent == 0) {
    if (!S_ISDIR(info.st_mode)) return true;
    // Times have whole seconds here: what was written in the second in which the run began, or
    // later, may have come after the folder was read.
    // And a folder that could not be read may have been opened since, which leaves its time alone.
    const bool isSure = recordTime(info) == record.time && info.st_mtime < state_.referenceTime &&
                        !problems_.contains(path);
    return !isSure && folderHasNews(path, record.id);
  }
  if (!S_ISREG(info.st_mode)) return true;
  const bool isSame =
      recordTime(info) == record.time && static_cast<uint32_t>(info.st_size) == record.size;
  return !isSame && !isKnownProblem(path, info);
}

bool ChangeFinder::isRoot(const std::string& path) const {
  return std::find(settings_.roots.begin(), settings_.roots.end(), path) != settings_.roots.end();
}

bool ChangeFinder::isKnownProblem(const std::string& path, const struct stat& info) const {
  const auto found = problems_.find(path);
  return found != problems_.end() && found->second->modified == nanoseconds(info.st_mtim) &&
         found->second->changed == nanoseconds(info.st_ctim) &&
         found->second->size == static_cast<uint64_t>(info.st_size);
}

bool ChangeFinder::folderHasNews(const std::string& path, uint32_t id) const {
  const Stream stream(::opendir(path.c_str()));
  // That a folder cannot be read is news once.
  if (!stream) return !problems_.contains(path);
  while (const dirent* entry = ::readdir(stream.get())) {
    if (isDots(entry->d_name)) continue;
    unsigned char type = entry->d_type;
    struct stat info;
    if (type == DT_UNKNOWN && ::lstat(joined(path, entry->d_name).c_str(), &info) == 0) {
      type = static_cast<unsigned char>(IFTODT(info.st_mode));
    }
    if (type != DT_DIR && type != DT_REG) continue;
    if (entryIsNew(path, id, entry->d_name, type == DT_DIR)) return true;
  }
  return false;
}

bool ChangeFinder::entryIsNew(const std::string& folder, uint32_t id, const char* name,
                              bool isFolder) const {
  const std::string path = joined(folder, name);
  if (isFolder && path == ownFolder_) return false;
  if (vfsLookupFile(files_, isFolder ? path.c_str() : name, isFolder ? 0 : id) != 0) return false;
  for (const std::string& pattern : settings_.exclude) {
    if (vFileNameMatch(path.c_str(), pattern.c_str())) return false;
  }
  if (isFolder || settings_.recordAllFiles) return true;
  return std::any_of(settings_.include.begin(), settings_.include.end(),
                     [&](const IncludePattern& include) {
                       return vFileNameMatch(path.c_str(), include.pattern.c_str());
                     });
}

std::vector<std::string> ChangeFinder::findMissingRoots() const {
  std::vector<std::string> missing;
  for (const std::string& root : settings_.roots) {
    const RootSight sight = lookAtRoot(root);
    if (sight == RootSight::kMissing || (sight == RootSight::kEmpty && hasEntries(root))) {
      missing.push_back(root);
    }
  }
  return missing;
}

bool ChangeFinder::hasEntries(const std::string& root) const {
  const unsigned long top = vfsLookupFile(files_, root.c_str(), 0);
  if (top == 0) return false;
  for (auto id = vfsGetFirst(files_); id != 0; id = vfsGetNext(files_, id)) {
    const Record record = recordAt(id);
    if (isObsolete(record.name) || id == top) continue;
    if (record.parent == top || (record.parent == 0 && liesIn(record.name, root))) return true;
  }
  return false;
}

void countRecords(CVeskaIndex* index, State* state) {
  state->liveFiles = state->liveFolders = state->obsoleteRecords = 0;
  state->liveBytes = 0;
  engineCall([&] {
    CFileStorage* files = vidxGetFiles(index);
    for (auto id = vfsGetFirst(files); id != 0; id = vfsGetNext(files, id)) {
      void* record = recordFields(files, id);
      if (isObsolete(vfiGetFileName(record)) || liesInObsolete(files, record)) {
        ++state->obsoleteRecords;
      } else if (vfiGetFileParentID(record) == 0) {
        ++state->liveFolders;
      } else {
        ++state->liveFiles;
        state->liveBytes += vfiGetFileSize(record);
      }
    }
  });
}

}  // namespace veska
