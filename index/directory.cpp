// A folder is read whole and closed before anything in it is worked on, and the walk keeps its own
// stack of open folders: neither a descriptor nor a stack frame is held for each level.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "analyzers/fileanalyzer.h"
#include "api/reporting.h"
#include "index/index.h"
#include "index/status.h"

namespace {

struct StreamCloser {
  void operator()(DIR* stream) const { closedir(stream); }
};

// The names in one folder, but for "." and "..", in the order of its stream.
class FolderListing {
 public:
  struct Entry {
    size_t name;         // offset in names_
    unsigned char type;  // as the stream says
  };

  explicit FolderListing(const std::string& path) {
    const std::unique_ptr<DIR, StreamCloser> stream(opendir(path.c_str()));
    if (!stream) {
      reportProblem(errno == ENAMETOOLONG ? "PathTooLong" : "FolderUnreadable", path, errno);
      return;
    }
    bool dotSeen = false;
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(stream.get());
      if (!entry) {
        if (errno != 0) reportProblem("FolderUnreadable", path, errno);
        break;
      }
      const std::string_view name = entry->d_name;
      if (name == "..") continue;
      // A second "." means that the stream has begun anew.
      if (name == "." && std::exchange(dotSeen, true)) break;
      if (name == ".") continue;
      entries_.push_back({names_.size(), entry->d_type});
      names_.append(name).push_back('\0');
    }
  }

  const std::vector<Entry>& entries() const { return entries_; }
  const char* name(const Entry& entry) const { return names_.data() + entry.name; }

 private:
  std::string names_;
  std::vector<Entry> entries_;
};

struct OpenFolder {
  std::string path;
  uint32_t id;
  FolderListing listing;
  size_t next = 0;
};

// The system refused to tell an entry's status. That it has vanished meanwhile is no failure.
void reportRefusal(const std::string& folder, const std::string& path) {
  if (errno == ENOENT) return;
  const bool tooLong = errno == ENAMETOOLONG;
  reportProblem(tooLong ? "PathTooLong" : "FolderUnreadable", tooLong ? path : folder, errno);
}

std::string joinPath(const std::string& folder, const char* name) {
  return folder == "/" ? folder + name : folder + "/" + name;
}

}  // namespace

void CVeskaIndex::indexDirectory(const char* path, unsigned long parentId) {
  std::vector<OpenFolder> open;
  const auto enter = [&](const std::string& folder, uint32_t id) {
    if (folder == skippedDirectory && !folder.empty()) {
      setStatus("Skipped Veska Directory", {});
      return;
    }
    ++directoriesRead;
    open.push_back({folder, id, FolderListing(folder)});
  };
  enter(path, static_cast<uint32_t>(parentId));
  while (!open.empty()) {
    OpenFolder& folder = open.back();
    if (folder.next == folder.listing.entries().size()) {
      open.pop_back();
      continue;
    }
    const FolderListing::Entry& entry = folder.listing.entries()[folder.next++];
    const char* name = folder.listing.name(entry);
    const std::string full = joinPath(folder.path, name);
    postWalkStatus(full);
    struct stat status {};
    if (lstat(full.c_str(), &status) != 0) {
      reportRefusal(folder.path, full);
    } else if (S_ISREG(status.st_mode)) {
      indexEntry(full, name, recordInfo(status), folder.id);
    } else if (S_ISDIR(status.st_mode) && !isExcluded(full.c_str())) {
      const uint32_t id = folderRecord(full, recordInfo(status));
      enter(full, id);
    }
  }
}

void CVeskaIndex::postWalkStatus(const std::string& path) {
  if (progressDue()) postProgress("IndexingFile", path + "\t" + std::to_string(directoriesRead));
}

uint32_t CVeskaIndex::folderRecord(const std::string& path, const FileInfo& info) {
  auto id = static_cast<uint32_t>(files->lookupFile(path.c_str(), 0));
  if (id == 0) {
    id = static_cast<uint32_t>(files->addFile(path.c_str()));
    ++filesIndexed;
  }
  files->setInfo(id, {0, info.time, files->info(id).size, 0});
  return id;
}

void CVeskaIndex::indexEntry(const std::string& path, const char* name, const FileInfo& info,
                             uint32_t parent) {
  CFileAnalyzer* analyzer = wantedAnalyzer(path.c_str());
  if (!trackAll && !analyzer) return;
  auto id = static_cast<uint32_t>(files->lookupFile(name, parent));
  if (id == 0) {
    id = static_cast<uint32_t>(files->addFile(name));
    ++filesIndexed;
  }
  files->setInfo(id, {parent, info.time, info.size, 0});
  if (analyzer) runAnalyzer(*analyzer, path, id);
}

CFileAnalyzer* CVeskaIndex::includedAnalyzer(const char* path) const {
  if (!includePatterns) return nullptr;
  for (int slot = 0; includePatterns[slot]; ++slot)
    if (termMatch(path, includePatterns[slot])) return includeAnalyzers[slot];
  return nullptr;
}

CFileAnalyzer* CVeskaIndex::wantedAnalyzer(const char* path) const {
  CFileAnalyzer* analyzer = includedAnalyzer(path);
  return analyzer && !isExcluded(path) ? analyzer : nullptr;
}

CFileAnalyzer* CVeskaIndex::analyzerThatMatches(const char* name) const {
  return includedAnalyzer(name);
}

// With exact updates, a record has its time only once its file was read to the end: whatever ends
// the run before that, the next one takes the file up again.
void CVeskaIndex::runAnalyzer(CFileAnalyzer& analyzer, const std::string& path, uint32_t id) {
  FileInfo info = files->info(id);
  const int32_t time = info.time;
  if (exactUpdate) {
    info.time = 0;
    files->setInfo(id, info);
  }
  readFailed = false;
  analyzer.indexFile(path.c_str(), id);
  if (!exactUpdate || readFailed) return;
  info = files->info(id);
  info.time = time;
  files->setInfo(id, info);
}

void CVeskaIndex::updateDirectory(const char* path, unsigned long parentId) {
  const std::string folder = path;
  if (folder == skippedDirectory && !folder.empty()) {
    setStatus("Skipped Veska Directory", {});
    return;
  }
  const FolderListing listing(folder);
  for (const FolderListing::Entry& entry : listing.entries())
    updateEntry(folder, listing.name(entry), entry.type, static_cast<uint32_t>(parentId));
}

// What the stream says of an entry's type spares most of them a look at the disk.
void CVeskaIndex::updateEntry(const std::string& folder, const char* name, unsigned char type,
                              uint32_t parent) {
  if (type == DT_LNK && exactUpdate) return;
  if (type == DT_REG && files->lookupFile(name, parent)) return;
  // Deliberate: below the root that gives "//name", unless updates are to agree with the first
  // walk.
  const std::string full = exactUpdate ? joinPath(folder, name) : folder + "/" + name;
  if (type == DT_DIR && files->lookupFile(full.c_str(), 0)) return;
  struct stat status {};
  const int flags = exactUpdate ? AT_SYMLINK_NOFOLLOW : 0;
  if (fstatat(AT_FDCWD, full.c_str(), &status, flags) != 0) {
    reportRefusal(folder, full);
    return;
  }
  const FileInfo info = recordInfo(status);
  if (S_ISDIR(status.st_mode)) {
    if (files->lookupFile(full.c_str(), 0) || isExcluded(full.c_str())) return;
    ++directoriesRead;
    indexDirectory(full.c_str(), folderRecord(full, info));
  } else if (S_ISREG(status.st_mode)) {
    if (files->lookupFile(name, parent) || isExcluded(full.c_str())) return;
    CFileAnalyzer* analyzer = includedAnalyzer(full.c_str());
    if (!trackAll && !analyzer) return;
    ++filesIndexed;
    const auto id = static_cast<uint32_t>(files->addFile(name));
    files->setInfo(id, {parent, info.time, info.size, 0});
    if (!analyzer) return;
    postWalkStatus(full);
    runAnalyzer(*analyzer, full, id);
  }
}
