// The fixture of cases that need an index: where it lies, its masks, and what it holds.
#ifndef VESKA_TESTS_SUPPORT_INDEXTEST_H_
#define VESKA_TESTS_SUPPORT_INDEXTEST_H_

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "analyzers/analyzers.h"
#include "api/veskalib.h"
#include "index/index.h"
#include "tests/support/leakcheck.h"
#include "tests/support/reports.h"
#include "tests/support/tablereader.h"

namespace veska::test {

struct ClearIndex {
  void operator()(CVeskaIndex* index) const { vidxClearIndex(index); }
};
// Stands for its index in calls of the interface.
class IndexPtr : public std::unique_ptr<CVeskaIndex, ClearIndex> {
 public:
  using unique_ptr::unique_ptr;
  operator CVeskaIndex*() const { return get(); }
};

// Letters, digits and 0xC0 to 0xFF are valid, "-" is trailing, all printable bytes are viewable.
inline void setMasks(CVeskaIndex* index) {
  for (int b = 1; b < 256; ++b) {
    const bool valid = (b < 128 && std::isalnum(b)) || b >= 0xC0;
    vidxSetValidCharMask(index, b, valid);
    vidxSetValidTrailingMask(index, b, b == '-');
    vidxSetValidViewableMask(index, b, (b > ' ' && b < 127) || b >= 0xA0);
  }
}

// The words of a text table, in the order of insertion.
inline std::vector<std::string> textsOf(CTextStorage* table) {
  std::vector<std::string> texts;
  for (auto id = vtsGetFirst(table); id != 0; id = vtsGetNext(table, id)) {
    texts.emplace_back(vtsGetText(table, id));
  }
  return texts;
}

class IndexTest : public LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    std::filesystem::create_directories(indexPath());
    std::filesystem::create_directories(docs());
  }

  // "externanalyzers.txt" and "skipfile.txt" are looked for in config(), which is never walked.
  std::string config() const { return path("config"); }
  std::string indexPath() const { return config() + "/a/b/index/"; }
  std::string docs() const { return path("docs"); }

  // An empty index with masks, words of any length from 1 to 100, "*.txt" as plain text.
  IndexPtr newIndex(bool create = true) const {
    IndexPtr index(vCreateNewIndex(create, indexPath().c_str()));
    if (!index) throw std::runtime_error("no index");
    setMasks(index);
    vidxSetMinWordLength(index, 1);
    vidxSetMaxWordLength(index, 99);
    vidxSetMaxPerFileRead(index, 1 << 24);
    vidxSetTemporaryDirectory(index, engineTemp().c_str());
    vidxCreateAnalyzers(index);
    vidxSetIncludeCount(index, 1);
    vidxSetIncludePattern(index, 0, "*.txt", "generic");
    return index;
  }
  IndexPtr reopen() const { return newIndex(false); }
  // An empty index with an empty link table, too, into which words can go.
  IndexPtr linkedIndex() const {
    IndexPtr index = newIndex();
    vidxNewFileLinks(index);
    return index;
  }
  // Compacts and saves.
  void save(CVeskaIndex* index) const {
    vidxCompressLinks(index);
    vidxStoreStorage(index, indexPath().c_str());
  }

  // Writes a document and sets its modification time, in Unix seconds.
  void document(const std::string& name, const std::string& text, time_t modified = 1000) const {
    const std::string file = docs() + "/" + name;
    writeFile(file, text);
    setTime(file, modified);
  }
  static void setTime(const std::string& file, time_t modified) {
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, file.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << file;
  }

  // Adds the record of docs() and walks it, with fresh links.
  unsigned long indexDocs(CVeskaIndex* index) const {
    const auto top = vfsAddFile(vidxGetFiles(index), docs().c_str());
    vidxNewFileLinks(index);
    vidxIndexDirectory(index, docs().c_str(), top);
    return top;
  }

  // All records as paths below docs(), sorted; obsolete ones begin with "!".
  std::vector<std::string> recordsOf(CVeskaIndex* index) const {
    CFileStorage* files = vidxGetFiles(index);
    std::vector<std::string> records;
    for (auto id = vfsGetFirst(files); id != 0; id = vfsGetNext(files, id)) {
      const auto parent = vfiGetFileParentID(vfsGetInfo(files, id));
      std::string name = vfiGetFileName(vfsGetInfo(files, id));
      const bool obsolete = name.starts_with('\xFF');
      if (parent != 0) {
        name = std::string(vfiGetFileName(vfsGetInfo(files, parent))) + "/" + name;
      }
      if (name.starts_with(docs())) name.erase(0, docs().size() + 1);
      records.push_back((obsolete ? "!" : "") + name);
    }
    std::sort(records.begin(), records.end());
    return records;
  }

  // Last file, count, chunk position and handed files of a word.
  struct Word {
    uint32_t lastFile, count, chunk, handed;
    bool operator==(const Word&) const = default;
  };
  static Word wordOf(CVeskaIndex* index, const char* word) {
    CTextStorage* words = vidxGetWords(index);
    const auto id = vtsLookup(words, word);
    if (id == 0) return {0, 0, 0, 0};
    const std::string data(static_cast<char*>(vtsGetData(words, id)), 16);
    return {u32At(data, 0), u32At(data, 4) & 0xFFFF, u32At(data, 8), u32At(data, 12)};
  }

  std::string table(const char* name) const { return readFile(indexPath() + name); }
};

using Texts = std::vector<std::string>;

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_INDEXTEST_H_
