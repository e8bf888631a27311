// The look before an update: does anything differ from what the index holds? It reads the tables
// and the file system's records of times and sizes, and writes nothing. Folders whose time has
// changed are listed, so that a file that came and went, or an excluded one, is no reason for an
// update.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "api/veskalib.h"
#include "host/settings.h"
#include "host/state.h"

namespace veska {

struct Changes {
  bool any = false;
  std::vector<std::string> missingRoots;  // gone, or empty but with entries in the index
  std::vector<uint64_t> liveCached;       // of the ids asked for, those of live records; ascending
};

class ChangeFinder {
 public:
  // index: open for reading. settings: those in force now. state: of the index. problems: files
  // that could not be read before; they are tried again when they have changed. ownFolder: the
  // home, which is never indexed. All must outlive the object.
  ChangeFinder(CVeskaIndex* index, const Settings& settings, const State& state,
               const std::vector<Problem>& problems, const std::string& ownFolder);

  // cachedIds: record ids of which it is to be told whether they are live, ascending.
  // interrupted: asked now and then; true ends the walk with status 130.
  Changes find(const std::vector<uint64_t>& cachedIds, const std::function<bool()>& interrupted);

 private:
  struct Record {
    uint32_t id;
    uint32_t parent;
    int64_t time;
    uint32_t size;
    const char* name;
  };

  Record recordAt(unsigned long id) const;
  bool isMember(const Record& record) const;
  std::string pathOf(const Record& record) const;
  bool differs(const Record& record, const std::string& path) const;
  bool isRoot(const std::string& path) const;
  bool isKnownProblem(const std::string& path, const struct stat& info) const;
  bool folderHasNews(const std::string& path, uint32_t id) const;
  bool entryIsNew(const std::string& folder, uint32_t id, const char* name, bool isFolder) const;
  std::vector<std::string> findMissingRoots() const;
  bool hasEntries(const std::string& root) const;

  CFileStorage* files_;
  const Settings& settings_;
  const State& state_;
  const std::string& ownFolder_;
  std::unordered_map<std::string, const Problem*> problems_;
};

// vfsGetInfo for an id that should be that of a record. Fails when it is none.
void* recordFields(CFileStorage* files, unsigned long id);

// What is found in the file table as it stands, for the state: live and obsolete records.
void countRecords(CVeskaIndex* index, State* state);

// What is there to be seen of a root. An empty folder may be the place of an unplugged disk. errno
// then tells why the root is missing, and is 0 when it is empty.
enum class RootSight { kMissing, kEmpty, kFilled };
RootSight lookAtRoot(const std::string& root);

// Whether `path` is `folder` or lies below it.
bool liesIn(const std::string& path, const std::string& folder);

// The stat of the file that a problem's path leads to; for a member of an archive, of the archive.
// False when there is no such file.
bool statOfProblem(const std::string& path, Problem* problem);

}  // namespace veska
