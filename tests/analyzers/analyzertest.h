// The fixture of cases that index files: an index with the analyzers under test.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "index/index.h"
#include "tests/support/leakcheck.h"

namespace veska::test {

class AnalyzerTest : public LeakCheckedTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  CVeskaIndex& index() { return *index_; }

  // Replaces the include patterns, pairs of pattern and analyzer.
  void include(const std::vector<std::pair<const char*, const char*>>& patterns);
  void exclude(const char* pattern);

  // From now on in the Unicode mode, with the readers of archives and mailboxes.
  void useUnicode();

  // Parts and output that are kept for display get a folder of their own, in the place of the one
  // that must be empty in the end.
  void useCache();
  std::string cachePath(std::string_view name, std::string_view extension) const {
    return path("cache/") + std::to_string(record(name)) + '.' + std::string(extension);
  }
  std::string cached(std::string_view name, std::string_view extension) const {
    return readFile(cachePath(name, extension));
  }

  // Registers a converter.
  void addConverter(const char* name, const char* extension, const std::string& command);

  // Writes a file of the folder `files`, whose record is the root, and indexes it with the analyzer
  // that its name selects. Result: what the analyzer returned.
  bool indexNew(std::string_view name, std::string_view bytes);
  // As above with the file as it stands.
  bool indexAgain(std::string_view name);

  std::string files() const { return path("files"); }

  // Record below the root, or below another; 0 if there is none. The names are joined by "//".
  uint32_t record(std::string_view names) const;
  FileInfo info(std::string_view names) const { return index_->files->info(record(names)); }

  // Names of all records but the root, each behind its parents, joined by "//", in their order.
  std::vector<std::string> records() const;

  // The record in which a word was seen last, in the same form; empty when it was never seen.
  std::string seenIn(const char* word) const;

  // The bytes of a member as they are extracted for display; "none" when they are not.
  std::string extracted(const std::string& container, const std::string& member);

  // What the problem callback was told: key, blank, path with the folder of files left out.
  const std::vector<std::string>& problems() const;

 private:
  std::string fullName(uint32_t id) const;

  std::unique_ptr<CVeskaIndex> index_;
  uint32_t root_ = 0;
};

}  // namespace veska::test
