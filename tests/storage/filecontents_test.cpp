#include "storage/filecontents.h"

#include "analyzers/fileanalyzer.h"
#include "storage/filestorage.h"
#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

// A container for tests: a member is a line "name=text"; what follows the "=" has "|" for each line
// feed, so that a member can be such a container again.
class CLineArchive : public CFileAnalyzer {
 public:
  using CFileAnalyzer::CFileAnalyzer;
  bool extractToTempFile(const char* container, const char* member, const char* tempPath,
                         unsigned long) override {
    if (!std::filesystem::exists(container)) return false;
    const std::string bytes = "\n" + readFile(container);
    const size_t at = bytes.find("\n" + std::string(member) + "=");
    if (at == std::string::npos) return false;
    const size_t begin = bytes.find('=', at) + 1;
    std::string text = bytes.substr(begin, bytes.find('\n', begin) - begin);
    for (char& c : text) c = c == '|' ? '\n' : c;
    writeFile(tempPath, text);
    return true;
  }
};

class FileContents : public DisplayTest {
 protected:
  // An index of docs(), in which "*.arc" are containers and "*.htm" is HTML.
  IndexPtr indexDocs() {
    IndexPtr index = newIndex();
    index->analyzers["lines"] = std::make_unique<CLineArchive>(index);
    vidxSetIncludeCount(index, 3);
    vidxSetIncludePattern(index, 0, "*.txt", "generic");
    vidxSetIncludePattern(index, 1, "*.arc", "lines");
    vidxSetIncludePattern(index, 2, "*.htm", "html");
    root_ = vfsAddFile(vidxGetFiles(index), docs().c_str());
    vidxIndexDirectory(index, docs().c_str(), root_);
    return index;
  }

  unsigned long root_ = 0;

  static unsigned long record(const IndexPtr& index, const char* name, unsigned long parent) {
    CFileStorage* files = vidxGetFiles(index);
    unsigned long id = vfsLookupFile(files, name, parent);
    if (id == 0) {
      id = vfsAddFile(files, name);
      vfiSetFileParentID(vfsGetInfo(files, id), static_cast<uint32_t>(parent));
    }
    return id;
  }

  static ContentsHandle open(const IndexPtr& index, unsigned long id, int lineWidth = 0,
                             int distance = 3, unsigned long maxBytes = 1 << 20) {
    return ContentsHandle(vidxGetFileContents(index, id, maxBytes, lineWidth, true, distance));
  }

  ContentsHandle openText(const IndexPtr& index, const std::string& text) {
    writeFile(docs() + "/text.txt", text);
    ContentsHandle contents = open(index, record(index, "text.txt", root_));
    EXPECT_NE(contents, nullptr);
    return contents;
  }
};

TEST_F(FileContents, ReadsAFileLineByLine) {
  writeFile(docs() + "/a.txt", "one\ntwo three\n\nend");
  const IndexPtr index = indexDocs();
  const ContentsHandle contents = open(index, record(index, "a.txt", root_));
  ASSERT_NE(contents, nullptr);
  EXPECT_EQ(vfcFilePath(contents.get()), docs() + "/a.txt");
  EXPECT_STREQ(vfcContents(contents.get()), "one\ntwo three\n\nend");
  for (const char* line : {"one\n", "two three\n", "\n", "end"})
    EXPECT_STREQ(vfcNext(contents.get()), line);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(raised([&] { vfcNext(contents.get()); }), "EndOfContents:");
}

TEST_F(FileContents, PassesItsSettingsOn) {
  writeFile(docs() + "/a.htm", "one <b>two</b> three 0123456789 0123456789");
  const IndexPtr index = indexDocs();
  const unsigned long id = record(index, "a.htm", root_);
  EXPECT_STREQ(vfcContents(open(index, id, 8).get()), "one two\nthree\n0123456789\n");
  EXPECT_STREQ(vfcContents(open(index, id, 0, 3, 5).get()), "one t");
  EXPECT_STREQ(vfcContents(open(index, id, 0, 3, 0).get()), "");
  EXPECT_STREQ(vfcContents(ContentsHandle(vidxGetFileContents(index, id, 99, 0, false, 3)).get()),
               "one <b>two</b> three 0123456789\n");
}

TEST_F(FileContents, ExtractsMembersLevelByLevel) {
  writeFile(docs() + "/top.arc",
            "in.arc=deep.htm=<i>deep</i> text 0123456789|b.txt=inner|\na.txt=outer x");
  const IndexPtr index = indexDocs();
  const unsigned long top = record(index, "top.arc", root_);
  const unsigned long inner = record(index, "in.arc", top);
  const ContentsHandle deep = open(index, record(index, "deep.htm", inner));
  ASSERT_NE(deep, nullptr);
  EXPECT_STREQ(vfcContents(deep.get()), "deep text\n");
  EXPECT_EQ(std::string(vfcFilePath(deep.get())).rfind(engineTemp(), 0), 0u);
  EXPECT_STREQ(vfcContents(open(index, record(index, "a.txt", top)).get()), "outer\nx");
  EXPECT_EQ(listTree(engineTemp()), std::vector<std::string>());
}

TEST_F(FileContents, TellsWhyThereAreNone) {
  writeFile(docs() + "/top.arc", "in.arc=b.txt=inner|\n");
  const IndexPtr index = indexDocs();
  const unsigned long top = record(index, "top.arc", root_);
  const unsigned long inner = record(index, "in.arc", top);
  CFileStorage* files = vidxGetFiles(index);
  const unsigned long loop = vfsAddFile(files, "loop");
  vfiSetFileParentID(vfsGetInfo(files, loop), static_cast<uint32_t>(loop));
  const unsigned long stray = vfsAddFile(files, "stray");
  vfiSetFileParentID(vfsGetInfo(files, stray), 0x7FFFFFFF);
  const std::pair<unsigned long, std::string> cases[] = {
      {root_, "NoFileContentsForDir:"},
      {0, "AssertionFailed:"},
      {7, "AssertionFailed:"},
      {0x7FFFFFFF, "AssertionFailed:"},
      {stray, "AssertionFailed:"},
      {loop, "ArchivesNestedTooDeep:"},
      {record(index, "gone.txt", root_), "CannotOpenContentsFile:" + docs() + "/gone.txt"},
      {record(index, "gone.txt", top), "ArchiveExtractError:"},
      {record(index, "gone.txt", inner), "ArchiveExtractError:"},
  };
  for (const auto& [id, report] : cases) {
    Reports reports;
    EXPECT_EQ(open(index, id), nullptr);
    EXPECT_EQ(reports.take(), Texts{"throw:" + report}) << id;
    EXPECT_EQ(listTree(engineTemp()), std::vector<std::string>());
  }
}

TEST_F(FileContents, FollowsAHundredAncestors) {
  const IndexPtr index = indexDocs();
  unsigned long parent = root_;
  for (int ancestors = 1; ancestors <= 102; ++ancestors) {
    Reports reports;
    const unsigned long file = record(index, "x.txt", parent);
    EXPECT_EQ(open(index, file), nullptr);
    const char* const report = ancestors == 1     ? "CannotOpenContentsFile"
                               : ancestors <= 100 ? "ArchiveExtractError"
                                                  : "ArchivesNestedTooDeep";
    EXPECT_EQ(reports.count("throw:" + std::string(report)), 1) << ancestors;
    parent = record(index, "x.arc", parent);
  }
}

TEST_F(FileContents, LeavesNoTemporaryFileWhenTheTextFails) {
  writeFile(docs() + "/top.arc", "a.bad=text\n");
  class CFailing : public CFileAnalyzer {
   public:
    using CFileAnalyzer::CFileAnalyzer;
    char* fillDisplayBuffer(const char*, unsigned long, unsigned long, int, bool) override {
      throw 1;
    }
  };
  const IndexPtr index = indexDocs();
  index->analyzers["failing"] = std::make_unique<CFailing>(index);
  vidxSetIncludePattern(index, 0, "*.bad", "failing");
  EXPECT_EQ(open(index, record(index, "a.bad", record(index, "top.arc", root_))), nullptr);
  EXPECT_EQ(listTree(engineTemp()), std::vector<std::string>());
}

TEST_F(FileContents, FindsHits) {
  const IndexPtr index = indexDocs();
  const ContentsHandle contents =
      openText(index, "Walk the WALKING apple in a blue pie\ncan't stop x");
  // Places count from 1; what is asked for is where the search begins, counted from 0.
  const std::tuple<unsigned long, const char*, unsigned long> cases[] = {
      {0, "walk", 1},      {1, "walk*", 10},           {0, "Walk", 0},   {0, "apple<4 pie", 18},
      {0, "apple< a", 18}, {0, "+(walk the) pie", 34}, {0, "can't", 38}, {0, "", 0},
      {10000, "walk", 0},  {~0ul, "walk", 0}};
  for (const auto& [from, query, hit] : cases)
    EXPECT_EQ(vfcSearchBuffer(contents.get(), from, query), hit) << query << " " << from;
  EXPECT_TRUE(vfcContainsHit(contents.get(), "zebra stop"));
  EXPECT_FALSE(vfcContainsHit(contents.get(), "zebra"));
  EXPECT_EQ(vfcTokenLength(contents.get(), 0), 4u);
  EXPECT_EQ(vfcTokenLength(contents.get(), 37), 5u);
  EXPECT_EQ(vfcTokenLength(contents.get(), 40), 0u);  // "'" begins no word
  EXPECT_EQ(vfcTokenLength(contents.get(), 4), 0u);
  EXPECT_EQ(vfcTokenLength(contents.get(), 4711), 0u);
}

TEST_F(FileContents, SearchesBackwards) {
  const IndexPtr index = indexDocs();
  const ContentsHandle contents = openText(index, "pie of apple\npie x");
  char* const text = contents->contents();
  char* const end = text + std::strlen(text);
  EXPECT_EQ(contents->searchBuffer(text + 13, "pie", 0, true), text);
  EXPECT_EQ(contents->searchBuffer(text, "pie", 0, true), text - 1);
  EXPECT_EQ(contents->searchBuffer(end, "of", 1, true), end);
  EXPECT_EQ(contents->searchBuffer(end, "of", 3, true), text + 4);
  EXPECT_EQ(contents->searchBuffer(text, "apple", 1, false), end);
}

TEST_F(FileContents, CutsItsTextDownToAnOutline) {
  const IndexPtr index = indexDocs();
  const std::string text = "one\ntwo hit hit\nthree\nfour\nthe hit\nsix ahitx\nlast hit";
  const std::pair<const char*, std::string> cases[] = {
      {"hit", "two hit hit\nthe hit\nhit"},  // the text's last separator ends a line
      {"zebra", ""},
      {"one four", "one\nfour\n"},
      {"on*", "one\n"},
  };
  for (const auto& [query, outline] : cases) {
    const ContentsHandle contents = openText(index, text);
    vfcNext(contents.get());
    vfcConvertToOutline(contents.get(), query);
    EXPECT_EQ(vfcContents(contents.get()), outline) << query;
    if (!outline.empty()) {
      EXPECT_EQ(vfcNext(contents.get()), outline.substr(0, outline.find('\n') + 1));
    }
    vfcConvertToOutline(contents.get(), "zebra");
    EXPECT_STREQ(vfcContents(contents.get()), "");
    EXPECT_THROW(vfcNext(contents.get()), int);
  }
}

TEST_F(FileContents, LeavesWordsOfOtherLengthsOutOfItsOutline) {
  const IndexPtr index = indexDocs();
  vidxSetMinWordLength(index, 3);
  vidxSetMaxWordLength(index, 5);
  const ContentsHandle contents = openText(index, "to\ntoo\ntoooo\ntooooo\nx\n");
  vfcConvertToOutline(contents.get(), "to*");
  EXPECT_STREQ(vfcContents(contents.get()), "too\ntoooo\n");
}

}  // namespace
}  // namespace veska::test
