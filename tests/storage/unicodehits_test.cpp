// The contents of files in Unicode mode, from indexing to hits, through the interface of hosts.

#include <set>

#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

class UnicodeContents : public DisplayTest {
 protected:
  void SetUp() override {
    DisplayTest::SetUp();
    index = newIndex();
    vidxSetUnicode(index.get(), true);
    vidxCreateAnalyzers(index.get());
    vidxSetIncludePattern(index.get(), 0, "*", nullptr);
  }
  void TearDown() override {
    contents.reset();
    index.reset();
    DisplayTest::TearDown();
  }

  void indexFile(const std::string& name, const std::string& text) {
    document(name, text);
    const unsigned long root = indexDocs(index.get());
    contents.reset(vidxGetFileContents(index.get(),
                                       vfsLookupFile(vidxGetFiles(index.get()), name.c_str(), root),
                                       1 << 20, 0, true, 5));
    ASSERT_TRUE(contents);
  }

  std::set<std::string> words() const {
    const Texts all = textsOf(vidxGetWords(index.get()));
    return {all.begin(), all.end()};
  }

  // What is hit, from each hit to the end of its token.
  Texts hits(const char* query) {
    const std::string text = vfcContents(contents.get());
    Texts result;
    for (unsigned long at = 0; (at = vfcSearchBuffer(contents.get(), at, query)) != 0;)
      result.push_back(text.substr(at - 1, vfcTokenLength(contents.get(), at - 1)));
    return result;
  }

  IndexPtr index;
  ContentsHandle contents;
};

TEST_F(UnicodeContents, IndexesTheLastWordInEveryScript) {
  indexFile("a", "\u041F\u0440\u0438\u0432\u0435\u0442, Caf\u00E9 \u6771\u4EAC\u90FD last");
  EXPECT_EQ(words(), (std::set<std::string>{"\u043F\u0440\u0438\u0432\u0435\u0442", "caf\u00E9",
                                            "\u6771\u4EAC", "\u4EAC\u90FD", "last"}));
}

TEST_F(UnicodeContents, FindsHitsByCharacters) {
  indexFile("a",
            "Caf\u00E9 CAFE\u0301 cafe \u041C\u043E\u0441\u043A\u0432\u0430\n"
            "Stra\u00DFe in \u6771\u4EAC\u90FD\u3067 end");
  const std::pair<const char*, Texts> cases[] = {
      {"caf\u00E9", {"Caf\u00E9", "CAF\u00C9"}},
      {"caf?", {"Caf\u00E9", "CAF\u00C9", "cafe"}},
      {"?af\u00C9", {"Caf\u00E9", "CAF\u00C9"}},
      {"caf??", {"Caf\u00E9", "CAF\u00C9", "cafe"}},
      {"af?", {}},
      {"\u043C\u041E*", {"\u041C\u043E\u0441\u043A\u0432\u0430"}},
      {"STRASSE", {"Stra\u00DFe"}},
      {"\u6771\u4EAC\u90FD", {"\u6771\u4EAC"}},
      {"\u6771\u90FD", {}},
      {"\u3067", {"\u3067"}},
      {"in <6 end", {"in"}},
      {"cafe <1 \u043C\u043E\u0441\u043A\u0432\u0430", {"cafe"}},
      {"caf\u00E9 <1 \u043C\u043E\u0441\u043A\u0432\u0430", {}},
      {"\xFF\xC3 in", {"in"}},
      {"", {}},
  };
  for (const auto& [query, wanted] : cases) EXPECT_EQ(hits(query), wanted) << query;
}

TEST_F(UnicodeContents, OutlineCountsCharactersAndKeepsPairs) {
  indexFile("a", "\u00E9\u00E9 short\n\u6771\u4EAC pair\n\u00E9\u00E9\u00E9 long enough\n");
  vfcConvertToOutline(contents.get(), "\u00E9\u00E9 \u6771\u4EAC \u00E9\u00E9\u00E9");
  EXPECT_STREQ(vfcContents(contents.get()), "\u6771\u4EAC pair\n\u00E9\u00E9\u00E9 long enough\n");
}

TEST_F(UnicodeContents, MatchesTermsByCharacters) {
  const auto matches = [&](const char* word, const char* term) {
    return vidxDoesWordMatch(index.get(), word, term);
  };
  EXPECT_TRUE(matches("caf\u00E9", "CAF?"));
  EXPECT_TRUE(matches("caf\u00E9", "caf\u00C9?"));
  EXPECT_FALSE(matches("caf\u00E9s", "caf?"));
  EXPECT_FALSE(matches("\u6771\u4EAC", "?"));
}

TEST_F(UnicodeContents, HostsCutQueriesAsDocumentsAreCut) {
  const auto split = [&](const char* text) {
    char* lines = vidxSplitWords(index.get(), text);
    const std::string result = lines;
    vDeleteChar(lines);
    return result;
  };
  EXPECT_EQ(split("Stra\u00DFe CAFE\u0301* ?\u0416"), "strasse\ncaf\u00E9*\n?\u0436\n");
  EXPECT_EQ(split("\u6771\u4EAC\u90FD"), "\u6771\u4EAC\n\u4EAC\u90FD\n");
  EXPECT_EQ(split("\xFF"), "");
}

TEST_F(UnicodeContents, SkipWordsAreFolded) {
  writeFile(path("skip.txt"), "\u00DCBER und\nda\u00DF");
  vidxSetSkipFilePath(index.get(), path("skip.txt").c_str());
  vidxIndexExclusions(index.get());
  indexFile("a", "\u00FCber und DASS wort");
  EXPECT_EQ(words(), std::set<std::string>{"wort"});
}

}  // namespace
}  // namespace veska::test
