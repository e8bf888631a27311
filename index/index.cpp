#include "index/index.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "analyzers/fileanalyzer.h"
#include "api/lowercase.h"
#include "api/reporting.h"
#include "storage/openfile.h"
#include "storage/stdiofile.h"

namespace {

constexpr unsigned long kFileBuckets = 1000;
constexpr unsigned long kWordBuckets = 40000;
constexpr unsigned long kSkipBuckets = 1000;
constexpr unsigned long kWordInitialBytes = 131071;
constexpr unsigned long kWordGrowthBytes = 1048575;
constexpr unsigned long kSkipInitialBytes = 32767;
constexpr unsigned long kSkipGrowthBytes = 65535;
constexpr unsigned long kLinkInitialBytes = 65535;
constexpr unsigned long kLinkGrowthBytes = 1048575;
constexpr uint32_t kLinkBytes = 4;

// Position of the fourth "/" from the end. A search that would start before the first character
// searches the whole text again.
size_t fourthSlashFromEnd(const std::string& path) {
  size_t at = path.rfind('/');
  for (int i = 1; i < 4; ++i) at = path.rfind('/', at - 1);
  return at;
}

// The index's own surroundings, which no walk enters; empty when the path is not deep enough.
std::string surroundings(const std::string& path) {
  if (std::count(path.begin(), path.end(), '/') < 4) return {};
  return path.substr(0, fourthSlashFromEnd(path));
}

void requirePrefix(const CTextStorage& table, uint32_t dataBytes, const std::string& path) {
  if (table.prefixBytes() != kLinkBytes + dataBytes) throwVeskaError("StorageReadError", path);
}

// A new file that only its owner may read, in place of what was there.
StdioFile createPrivateFile(const std::string& path) {
  unlink(path.c_str());
  const int descriptor =
      openRetrying(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) return nullptr;
  FILE* stream = fdopen(descriptor, "wb");
  if (!stream) close(descriptor);
  return StdioFile(stream);
}

}  // namespace

CVeskaIndex::CVeskaIndex(bool create, std::string path) : indexPath(std::move(path)) {
  skippedDirectory = surroundings(indexPath);
  for (int byte = 1; byte < 32; ++byte) binaryCharMask[byte] = byte != 7 && (byte < 9 || byte > 13);
  mapLowerCaseChars();
  clear();
  if (create) {
    createTables();
  } else {
    openTables();
  }
  addEntities();
}

CVeskaIndex::~CVeskaIndex() { clear(); }

void CVeskaIndex::clear() {
  clearAnalyzers();
  replacedAnalyzers_.clear();
  freeMemFiles();
  numberHandling = 0;
  isUpdate = false;
  trackAll = true;
  minWordLength = 3;
  maxWordLength = 16;
  useRanking = true;
  setIncludeCount(0);
  setExcludeCount(0);
  keptTrees.clear();
}

void CVeskaIndex::freeMemFiles() {
  words = nullptr;
  files = nullptr;
  skipped = nullptr;
  links = nullptr;
  wordLinks = nullptr;
  retiredTables_.clear();
}

void CVeskaIndex::createTables() {
  files = newFileTable();
  words = newWordTable();
  skipped = newSkipTable();
  links = newLinkTable();
}

void CVeskaIndex::openTables() {
  const StdioFile hash = openStdio((indexPath + "hash").c_str(), "rbe");
  if (!hash) throwVeskaError("StorageReadError", indexPath, errno);
  files = std::make_unique<CFileStorage>(indexPath + "files", hash.get());
  words = std::make_unique<CTextStorage>(indexPath + "words", hash.get());
  requirePrefix(*words, WordData::kBytes, indexPath + "words");
  skipped = std::make_unique<CTextStorage>(indexPath + "skipped", hash.get());
  requirePrefix(*skipped, 0, indexPath + "skipped");
  links = std::make_unique<CFileLinks>(indexPath + "links", hash.get());
}

std::unique_ptr<CFileStorage> CVeskaIndex::newFileTable() const {
  auto table = std::make_unique<CFileStorage>(indexPath + "files", kFileBuckets);
  table->setExactNames(exactNames);
  return table;
}

std::unique_ptr<CTextStorage> CVeskaIndex::newWordTable() const {
  return std::make_unique<CTextStorage>(indexPath + "words", kWordInitialBytes, kWordGrowthBytes,
                                        WordData::kBytes, kWordBuckets);
}

std::unique_ptr<CTextStorage> CVeskaIndex::newSkipTable() const {
  return std::make_unique<CTextStorage>(indexPath + "skipped", kSkipInitialBytes, kSkipGrowthBytes,
                                        0, kSkipBuckets);
}

std::unique_ptr<CFileLinks> CVeskaIndex::newLinkTable() const {
  return std::make_unique<CFileLinks>(indexPath + "links", kLinkInitialBytes, kLinkGrowthBytes,
                                      useRanking);
}

// The old file is about to be replaced: its object lets go of it first.
void CVeskaIndex::startWordLinks() {
  retire(wordLinks.release());
  wordLinks = std::make_unique<CWordLinks>(indexPath + "temp", kLinkInitialBytes, kLinkGrowthBytes,
                                           useRanking);
}

void CVeskaIndex::retire(std::unique_ptr<CFileMemory> table) {
  if (!table) return;
  table->abandon();
  retiredTables_.push_back(std::move(table));
}

// The old tables are cleared first and freed last: should a new one fail, there is still one.
void CVeskaIndex::emptyIndex() {
  isUpdate = false;
  files->clearAll();
  words->clearAll();
  links = nullptr;
  directoriesRead = 0;
  contentsIndexed = 0;
  filesIndexed = 0;
  wordsIndexed = 0;
  bytesRead = 0;
  files = newFileTable();
  words = newWordTable();
}

void CVeskaIndex::enableWrite(bool on) {
  for (CFileMemory* table : std::initializer_list<CFileMemory*>{words, files, skipped, links}) {
    if (!table) continue;
    if (on) {
      table->enableWrite();
    } else {
      table->disableWrite();
    }
  }
}

void CVeskaIndex::setExactNames(bool on) {
  exactNames = on;
  if (files) files->setExactNames(on);
}

void CVeskaIndex::storeStorage(std::string path) {
  if (!links) links = newLinkTable();
  for (CFileMemory* table : std::initializer_list<CFileMemory*>{words, files, skipped, links}) {
    errno = 0;
    if (!table || table->disableWrite() || errno == ENOENT) continue;
    throwVeskaError("StorageReadError", path, errno);
  }
  const std::string target = path + "hash";
  const std::string unfinished = target + ".new";
  StdioFile stream = createPrivateFile(unfinished);
  if (!stream) throwVeskaError("StorageReadError", path, errno);
  const bool written = files->store(stream.get()) && words->store(stream.get()) &&
                       skipped->store(stream.get()) && links->store(stream.get());
  int reason = errno;
  const bool closed = std::fclose(stream.release()) == 0;
  if (written && closed && std::rename(unfinished.c_str(), target.c_str()) == 0) return;
  if (written) reason = errno;
  unlink(unfinished.c_str());
  throwVeskaError("StorageReadError", path, reason);
}

std::string CVeskaIndex::configurationDirectory() const {
  return indexPath.substr(0, fourthSlashFromEnd(indexPath) + 1);
}

bool CVeskaIndex::progressDue() const { return showStatus && std::time(nullptr) > lastStatusTime; }

void CVeskaIndex::postProgress(const char* key, const std::string& detail) {
  if (!setStatus(key, detail)) throwVeskaError("HaltRequested", {});
  lastStatusTime = std::time(nullptr);
}

void CVeskaIndex::countBytesRead(unsigned long bytes, const char* path) {
  bytesRead += static_cast<double>(bytes);
  if (statusLevel < 2 || std::time(nullptr) <= lastStatusTime) return;
  postProgress("BytesIndexing", std::to_string(bytesRead) + "\t" + path);
}
