#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "analyzers/fileanalyzer.h"
#include "api/reporting.h"
#include "index/index.h"
#include "index/status.h"
#include "storage/stdiofile.h"

namespace {

// Left behind for whoever looks into an index whose records do not hang together.
void writeDeadRecord(const char* name, uint32_t id, uint32_t parent) {
  const StdioFile stream = openStdio("deadveska.txt", "we");
  if (!stream) return;
  std::fprintf(stream.get(), "Name %s\nnFile %x\npFileInfo->m_nParent %x\npFolderInfo %x\n", name,
               id, parent, 0U);
}

bool isVanished(int error) { return error == ENOENT || error == ENOTDIR; }

}  // namespace

void CVeskaIndex::prune() {
  startWordLinks();
  enableWrite(true);
  const uint32_t end = files->usedBytes();
  unsigned long visited = 0;
  for (auto id = files->getFirst(); id != 0 && id < end; id = files->getNext(id)) {
    ++visited;
    if (progressDue())
      postProgress("UpdatingStatus", std::to_string(visited) + "/" + std::to_string(filesIndexed));
    pruneRecord(static_cast<uint32_t>(id));
  }
}

void CVeskaIndex::pruneRecord(uint32_t id) {
  std::string path;
  if (files->isObsolete(id) || !recordPath(id, path) || isKept(path)) return;
  const bool isFolder = files->info(id).parent == 0;
  struct stat status {};
  // A file that became a link is gone as a file; a folder's link was named by the host as a root.
  const bool follow = !exactUpdate || isRoot(id, path);
  if ((follow ? stat(path.c_str(), &status) : lstat(path.c_str(), &status)) != 0) {
    if (exactUpdate && !isVanished(errno)) {
      reportProblem("OpenFailed", path, errno);
    } else {
      files->markObsolete(id);
    }
    return;
  }
  if (exactUpdate && (isFolder ? !S_ISDIR(status.st_mode) : !S_ISREG(status.st_mode))) {
    files->markObsolete(id);
  } else if (isFolder) {
    pruneFolder(id, path, recordInfo(status), status.st_mtime);
  } else {
    pruneFile(id, path, recordInfo(status), status.st_mtime);
  }
}

bool CVeskaIndex::isKept(const std::string& path) const {
  const auto holds = [&path](const std::string& tree) {
    return path.starts_with(tree) && (path.size() == tree.size() || path[tree.size()] == '/');
  };
  return std::any_of(keptTrees.begin(), keptTrees.end(), holds);
}

// A top folder: no folder that holds it has a record.
bool CVeskaIndex::isRoot(uint32_t id, const std::string& path) const {
  if (files->info(id).parent != 0) return false;
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return true;
  return files->lookupFile(path.substr(0, std::max<size_t>(slash, 1)).c_str(), 0) == 0;
}

// Result: false for a member of an archive, which stands and falls with it.
bool CVeskaIndex::recordPath(uint32_t id, std::string& path) const {
  const char* name = files->getText(id);
  const uint32_t parent = files->info(id).parent;
  if (parent == 0) {
    path = name;
    return true;
  }
  if (parent < CFileMemory::kHeaderBytes + CFileStorage::kPrefixBytes || !files->getText(parent)) {
    writeDeadRecord(name, id, parent);
    throwVeskaError("PruneParentError", {});
  }
  if (files->info(parent).parent != 0) return false;
  path.assign(files->getText(parent)).append("/").append(name);
  return true;
}

void CVeskaIndex::pruneFolder(uint32_t id, const std::string& path, const FileInfo& now,
                              int64_t modified) {
  if (!exactUpdate && modified <= timeBase) return;
  updateDirectory(path.c_str(), id);
  if (!exactUpdate) return;
  FileInfo info = files->info(id);
  info.time = now.time;
  files->setInfo(id, info);
}

void CVeskaIndex::pruneFile(uint32_t id, const std::string& path, const FileInfo& now,
                            int64_t modified) {
  const FileInfo before = files->info(id);
  const bool changed =
      exactUpdate ? now.time != before.time || now.size != before.size : modified > timeBase;
  if (!changed) return;
  if (exactUpdate && access(path.c_str(), R_OK) != 0) {
    reportProblem("OpenFailed", path, errno);
    return;
  }
  CFileAnalyzer* analyzer = wantedAnalyzer(path.c_str());
  if (trackAll || analyzer) files->setInfo(id, {before.parent, now.time, now.size, 0});
  if (analyzer) reindexFile(id, path, now, *analyzer);
}

// The words of the old record stay in the tables; their links end at an obsolete record.
void CVeskaIndex::reindexFile(uint32_t id, const std::string& path, const FileInfo& now,
                              CFileAnalyzer& analyzer) {
  const std::string name = files->getText(id);
  const uint32_t parent = files->info(id).parent;
  ++filesIndexed;
  const auto fresh = static_cast<uint32_t>(files->addFile(name.c_str()));
  files->markObsolete(id);
  files->setInfo(fresh, {parent, now.time, now.size, 0});
  const unsigned long before = contentsIndexed;
  runAnalyzer(analyzer, path, fresh);
  if (contentsIndexed == before) ++contentsIndexed;
}
