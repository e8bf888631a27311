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
    vidxSetMinWordLength(index, 3);
    vidxSetUnicode(index, true);
    vidxCreateAnalyzers(index);
    vidxSetIncludePattern(index, 0, "*", nullptr);
  }
  void TearDown() override {
    contents.reset();
    index.reset();
    DisplayTest::TearDown();
  }

  void indexFile(const std::string& name, const std::string& text) {
    document(name, text);
    const unsigned long root = indexDocs(index);
    contents.reset(vidxGetFileContents(
        index, vfsLookupFile(vidxGetFiles(index), name.c_str(), root), 1 << 20, 0, true, 5));
    ASSERT_TRUE(contents);
  }

  std::set<std::string> words() const {
    const Texts all = textsOf(vidxGetWords(index));
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
  indexFile("a", "Привет, Café 東京都 last");
  EXPECT_EQ(words(), (std::set<std::string>{"привет", "café", "東京", "京都", "last"}));
}

TEST_F(UnicodeContents, FindsHitsByCharacters) {
  indexFile("a",
            "Café CAFE\u0301 cafe Москва\n"
            "Straße in 東京都で end");
  const std::pair<const char*, Texts> cases[] = {
      {"café", {"Café", "CAFÉ"}},
      {"caf?", {"Café", "CAFÉ", "cafe"}},
      {"?afÉ", {"Café", "CAFÉ"}},
      {"caf??", {"Café", "CAFÉ", "cafe"}},
      {"af?", {}},
      {"мО*", {"Москва"}},
      {"STRASSE", {"Straße"}},
      {"東京都", {"東京"}},
      {"東都", {}},
      {"で", {"で"}},
      {"in <6 end", {"in"}},
      {"cafe <1 москва", {"cafe"}},
      {"café <1 москва", {}},
      {"\xFF\xC3 in", {"in"}},
      {"", {}},
  };
  for (const auto& [query, wanted] : cases) EXPECT_EQ(hits(query), wanted) << query;
}

TEST_F(UnicodeContents, OutlineCountsCharactersAndKeepsPairs) {
  indexFile("a", "éé short\n東京 pair\nééé long enough\n");
  vfcConvertToOutline(contents.get(), "éé 東京 ééé");
  EXPECT_STREQ(vfcContents(contents.get()), "東京 pair\nééé long enough\n");
}

TEST_F(UnicodeContents, MatchesTermsByCharacters) {
  const auto matches = [&](const char* word, const char* term) {
    return vidxDoesWordMatch(index, word, term);
  };
  EXPECT_TRUE(matches("café", "CAF?"));
  EXPECT_TRUE(matches("café", "cafÉ?"));
  EXPECT_FALSE(matches("cafés", "caf?"));
  EXPECT_FALSE(matches("東京", "?"));
}

TEST_F(UnicodeContents, HostsCutQueriesAsDocumentsAreCut) {
  const auto split = [&](const char* text) {
    char* lines = vidxSplitWords(index, text);
    const std::string result = lines;
    vDeleteChar(lines);
    return result;
  };
  EXPECT_EQ(split("Straße CAFE\u0301* ?Ж"), "strasse\ncafé*\n?ж\n");
  EXPECT_EQ(split("東京都"), "東京\n京都\n");
  EXPECT_EQ(split("\xFF"), "");
}

TEST_F(UnicodeContents, SkipWordsAreFolded) {
  writeFile(path("skip.txt"), "ÜBER und\ndaß");
  vidxSetSkipFilePath(index, path("skip.txt").c_str());
  vidxIndexExclusions(index);
  indexFile("a", "über und DASS wort");
  EXPECT_EQ(words(), std::set<std::string>{"wort"});
}

}  // namespace
}  // namespace veska::test
