#include "tests/analyzers/analyzertest.h"

#include <cctype>
#include <cstring>
#include <filesystem>

#include "analyzers/externalanalyzer.h"
#include "api/veskalib.h"
#include "storage/bytes.h"

namespace veska::test {

namespace {

constexpr std::string_view kJoint = "//";

std::string filesFolder;
std::vector<std::string> told;

void noteProblem(const char* key, const char* path) {
  std::string_view rest = path;
  if (rest.starts_with(filesFolder)) rest.remove_prefix(filesFolder.size() + 1);
  told.push_back(std::string(key) + ' ' + std::string(rest));
}

}  // namespace

void AnalyzerTest::SetUp() {
  LeakCheckedTest::SetUp();
  filesFolder = files();
  told.clear();
  vSetProblemCallBack(noteProblem);
  std::filesystem::create_directory(files());
  std::filesystem::create_directory(path("index"));
  index_ = std::make_unique<CVeskaIndex>(true, path("index/"));
  index_->newFileLinks();
  index_->maxPerFileRead = 1 << 20;
  index_->temporaryDirectory = engineTemp();
  for (int c = 1; c < 256; ++c) {
    if (std::isalnum(c) || c == '_') index_->setValidCharMask(c, true);
  }
  index_->createAnalyzers();
  include({{"*.txt", "generic"},
           {"*.zip", "zip"},
           {"*.tar", "tar"},
           {"*.gz", "gzip"},
           {"*.tgz", "gzip"},
           {"*.mbox", "mbox"}});
  root_ = static_cast<uint32_t>(index_->files->addFile(files().c_str()));
}

void AnalyzerTest::TearDown() {
  index_.reset();
  vSetProblemCallBack(nullptr);
  LeakCheckedTest::TearDown();
}

void AnalyzerTest::include(const std::vector<std::pair<const char*, const char*>>& patterns) {
  index_->setIncludeCount(static_cast<int>(patterns.size()));
  int slot = 0;
  for (const auto& [pattern, analyzer] : patterns) {
    index_->setIncludePattern(slot++, pattern, analyzer);
  }
}

void AnalyzerTest::exclude(const char* pattern) {
  index_->setExcludeCount(1);
  index_->setExcludePattern(0, pattern);
}

void AnalyzerTest::useUnicode() {
  index_->unicode = true;
  index_->createAnalyzers();
  include({{"*.zip", "zip"},
           {"*.tar", "tar"},
           {"*.gz", "gzip"},
           {"*.tgz", "gzip"},
           {"*.xz", "xz"},
           {"*.txz", "xz"},
           {"*.bz2", "bzip2"},
           {"*.tbz2", "bzip2"},
           {"*.zst", "zstd"},
           {"*.tzst", "zstd"},
           {"*.mbox", "mbox"},
           {"*", "generic"}});
}

void AnalyzerTest::useCache() {
  std::filesystem::create_directory(path("cache"));
  index_->temporaryDirectory = path("cache");
}

void AnalyzerTest::addConverter(const char* name, const char* extension,
                                const std::string& command) {
  index_->analyzers[name] = std::make_unique<CExternalAnalyzer>(index_.get(), extension, command);
}

bool AnalyzerTest::indexNew(std::string_view name, std::string_view bytes) {
  const std::string file = files() + '/' + std::string(name);
  // Some file systems write a file to the disk at once when it takes another's place.
  std::filesystem::remove(file);
  writeFile(file, bytes);
  return indexAgain(name);
}

bool AnalyzerTest::indexAgain(std::string_view name) {
  const std::string file(name);
  uint32_t id = record(name);
  if (id == 0) id = static_cast<uint32_t>(index_->files->addFile(file.c_str()));
  index_->files->setInfo(id, {root_, 1'000'000, 0, 0});
  return index_->analyzerThatMatches(file.c_str())->indexFile((files() + '/' + file).c_str(), id);
}

uint32_t AnalyzerTest::record(std::string_view names) const {
  uint32_t id = root_;
  for (;;) {
    const size_t end = names.find(kJoint);
    id = static_cast<uint32_t>(
        index_->files->lookupFile(std::string(names.substr(0, end)).c_str(), id));
    if (id == 0 || end == names.npos) return id;
    names.remove_prefix(end + kJoint.size());
  }
}

std::string AnalyzerTest::fullName(uint32_t id) const {
  const uint32_t parent = index_->files->info(id).parent;
  const std::string name = index_->files->getText(id);
  return parent == root_ ? name : fullName(parent) + std::string(kJoint) + name;
}

std::vector<std::string> AnalyzerTest::records() const {
  std::vector<std::string> names;
  for (unsigned long id = index_->files->getFirst(); id != 0; id = index_->files->getNext(id)) {
    if (id != root_) names.push_back(fullName(static_cast<uint32_t>(id)));
  }
  return names;
}

std::string AnalyzerTest::seenIn(const char* word) const {
  const unsigned long id = index_->words->lookup(word);
  return id == 0 ? "" : fullName(loadU32(index_->words->getData(id)));
}

std::string AnalyzerTest::extracted(const std::string& container, const std::string& member) {
  const std::string path =
      index_->extractToTempFile((files() + '/' + container).c_str(), member.c_str(), 9);
  if (path.empty()) return "none";
  const std::string bytes = readFile(path);
  std::filesystem::remove(path);
  return bytes;
}

const std::vector<std::string>& AnalyzerTest::problems() const { return told; }

}  // namespace veska::test
