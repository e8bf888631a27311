// The patterns of an index, and their matchers against slow and obvious ones, on generated texts,
// and against hostile ones that those could never finish.

#include "tests/support/generated.h"
#include "tests/support/indextest.h"
#include "tests/support/slowmatch.h"

namespace veska::test {
namespace {

using Patterns = IndexTest;

TEST_F(Patterns, FirstMatchingSlotDecidesEvenWithoutAnAnalyzer) {
  const IndexPtr index = newIndex();
  EXPECT_EQ(index->analyzerThatMatches("/d/a.doc"), nullptr);
  vidxSetIncludeCount(index, 4);
  Reports reports;
  vidxSetIncludePattern(index, 0, "*.DOC", "nosuch");
  EXPECT_EQ(reports.take(), Texts{"warning:AnalyzerNotFound:nosuch"});
  vidxSetIncludePattern(index, 1, "*.do?", "macroman");
  vidxSetIncludePattern(index, 2, "*.txt|*.asc", nullptr);
  vidxSetIncludePattern(index, 3, "*", "");
  vidxSetIncludePattern(index, 4, "*.doc", "dosoem");
  vidxSetIncludePattern(index, -1, "*.doc", "dosoem");
  EXPECT_EQ(reports.take(), Texts{});

  CFileAnalyzer* generic = index->analyzerNamed("generic");
  EXPECT_NE(generic, nullptr);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.doc"), nullptr) << "the pattern is in force";
  EXPECT_EQ(index->analyzerThatMatches("/d/a.dot"), index->analyzerNamed("macroman"));
  EXPECT_EQ(index->analyzerThatMatches("/d/a.txt"), generic);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.asc"), generic);
  EXPECT_EQ(index->analyzerNamed("Generic"), nullptr);

  // The analyzer that a slot had before stays when the new name is unknown.
  vidxSetIncludePattern(index, 1, "*.xyz", "nosuch");
  EXPECT_EQ(index->analyzerThatMatches("/d/a.xyz"), index->analyzerNamed("macroman"));
  EXPECT_STREQ(index->includePatterns[1], "*.xyz");
  EXPECT_EQ(index->includePatterns[4], nullptr);

  vidxSetIncludeCount(index, 0);
  EXPECT_EQ(index->includePatterns, nullptr);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.txt"), nullptr);
}

TEST_F(Patterns, ExcludePatternsAreWholePatterns) {
  const IndexPtr index = newIndex();
  EXPECT_FALSE(index->isExcluded("/d/a.txt"));
  vidxSetExcludeCount(index, 2);
  EXPECT_FALSE(index->isExcluded("/d/a.txt")) << "empty slots end the list";
  vidxSetExcludePattern(index, 0, "*.txt ^ */old/*");
  vidxSetExcludePattern(index, 1, "*/cache|*/tmp");
  vidxSetExcludePattern(index, 2, "*");
  EXPECT_TRUE(index->isExcluded("/d/a.txt"));
  EXPECT_FALSE(index->isExcluded("/d/old/a.txt"));
  EXPECT_TRUE(index->isExcluded("/d/CACHE"));
  EXPECT_TRUE(index->isExcluded("/d/cached")) << "a term before an operator is a prefix";
  EXPECT_FALSE(index->isExcluded("/d/tmpfile"));
  vidxSetExcludeCount(index, 0);
  EXPECT_FALSE(index->isExcluded("/d/a.txt"));
  vidxSetExcludeCount(index, 1);
  vidxSetExcludePattern(index, 0, "*x");
  vidxSetExcludePattern(index, 0, "*y");
  vidxSetExcludePattern(index, 0, index->excludePatterns[0]);
  EXPECT_TRUE(index->isExcluded("y"));
  EXPECT_FALSE(index->isExcluded("x"));
}

using PatternsOracle = IndexTest;

constexpr unsigned kSeed = 4242;

TEST_F(PatternsOracle, ShortNamesAgreeWithTheRules) {
  const IndexPtr index = newIndex();
  const struct {
    const char *names, *patterns;
    size_t nameLength, patternLength;
    int rounds;
  } kinds[] = {
      {"abA./*?^&| \x7F", "abA./*?^&| \x7F", 6, 7, 60000},
      {"ab", "ab*?", 8, 8, 40000},   // many matches
      {"ab^", "ab*^", 7, 8, 40000},  // negation behind a "*"
      {"ab/\\\x7F", "ab*?/\\\x7F", 8, 7, 40000},
      {"a| ", "a*| &^?", 6, 10, 40000},
  };
  for (const auto& kind : kinds) {
    Generator generate(kSeed);
    int matches = 0;
    for (int round = 0; round < kind.rounds; ++round) {
      const std::string name = generate.bytes(kind.names, kind.nameLength);
      const std::string pattern = generate.bytes(kind.patterns, kind.patternLength);
      SCOPED_TRACE("name " + testing::PrintToString(name) + " pattern " +
                   testing::PrintToString(pattern));
      const bool expected = slowTermMatch(name.c_str(), pattern.c_str());
      matches += expected ? 1 : 0;
      ASSERT_EQ(termMatch(name.c_str(), pattern.c_str()), expected) << "term";
      ASSERT_EQ(vFileNameMatch(name.c_str(), pattern.c_str()),
                slowNameMatch(name.c_str(), pattern.c_str()))
          << "name";
      ASSERT_EQ(vidxDirMatch(index, name.c_str(), pattern.c_str()),
                slowDirMatch(name.c_str(), pattern.c_str()))
          << "folder";
    }
    EXPECT_GT(matches, kind.rounds / 50) << kind.patterns;
  }
}

TEST_F(PatternsOracle, HostilePatternsAreAnsweredAtOnce) {
  const IndexPtr index = newIndex();
  const std::string name(4000, 'a');
  const std::string stars = repeated("*a", 30);
  EXPECT_TRUE(termMatch(name.c_str(), stars.c_str()));
  EXPECT_FALSE(termMatch(name.c_str(), (stars + "b").c_str()));
  EXPECT_FALSE(vFileNameMatch(name.c_str(), (stars + "*b").c_str()));
  EXPECT_FALSE(termMatch(name.c_str(), (repeated("*a?", 30) + "b").c_str()));
  EXPECT_FALSE(vidxDirMatch(index, name.c_str(), (stars + "b/").c_str()));
  EXPECT_FALSE(vidxDoesWordMatch(index, name.c_str(), (stars + "b").c_str()));
  EXPECT_TRUE(vidxDoesWordMatch(index, (name + "b").c_str(), (stars + "b").c_str()));
  // Stars before literal operators, where every level negates the next.
  const std::string carets(4000, '^');
  for (const char* unit : {"*^", "*^^", "*^*"}) {
    const std::string pattern = repeated(unit, 30);
    termMatch(carets.c_str(), pattern.c_str());
    vFileNameMatch(carets.c_str(), (pattern + "b").c_str());
  }
  // Long chains of operators and long names do not nest.
  const std::string chain = repeated("b|", 100000) + repeated("a*&", 1000) + "a*";
  EXPECT_TRUE(vFileNameMatch(name.c_str(), chain.c_str()));
  const std::string longName(1000000, 'a');
  EXPECT_TRUE(termMatch(longName.c_str(), "*a*a*a*"));
  EXPECT_FALSE(termMatch(longName.c_str(), "*a*a*b"));
  EXPECT_FALSE(vidxDoesWordMatch(index, longName.c_str(), "*a*a*b"));
}

TEST_F(PatternsOracle, QueryTermsAgreeWithTheRules) {
  const struct {
    bool star, question, trailing;
    const char* wild;
  } settings[] = {
      {false, false, false, "*?"}, {true, false, false, "?"}, {false, true, true, "*"},
      {true, true, false, ""},     {true, false, true, "?"},
  };
  for (const auto& setting : settings) {
    const IndexPtr index = newIndex();
    const auto set = setting.trailing ? vidxSetValidTrailingMask : vidxSetValidCharMask;
    set(index, '*', setting.star);
    set(index, '?', setting.question);
    Generator generate(kSeed);
    for (int round = 0; round < 30000; ++round) {
      const std::string word = generate.bytes(round % 2 != 0 ? "abA*?\xE9" : "ab", 7);
      const std::string term = generate.bytes(round % 2 != 0 ? "abA*?\xE9" : "ab*?", 6);
      ASSERT_EQ(vidxDoesWordMatch(index, word.c_str(), term.c_str()),
                slowWordMatch(word.c_str(), term.c_str(), setting.wild))
          << testing::PrintToString(word) << " term " << testing::PrintToString(term) << " wild "
          << setting.wild;
    }
  }
}

// The rules' own consequences, so that both transcriptions are held against something.
TEST_F(PatternsOracle, WellKnownExamples) {
  const IndexPtr index = newIndex();
  const std::tuple<const char*, const char*, bool> names[] = {
      {"", "", true},
      {"a", "", false},
      {"", "*", true},
      {"abcdef", "abc|xyz", true},
      {"a.txt", "*?.txt", false},
      {"a?.txt", "*?.txt", true},
      {"/d/old/a.txt", "*.txt ^ */old/*", false},
      {"ac", "a*|x&*c", true},
      {"x.txt", "*.htm | *.txt", true},
      {"\xC1", "\xE1", true},
      {"\xC0", "\xE0", false},
      {"x\x7F", "x", false},
  };
  for (const auto& [name, pattern, matches] : names) {
    EXPECT_EQ(vFileNameMatch(name, pattern), matches) << name << " " << pattern;
    EXPECT_EQ(slowNameMatch(name, pattern), matches) << name << " " << pattern;
  }
  const std::tuple<const char*, const char*, bool> folders[] = {
      {"/usr", "/home/*", false},
      {"/home/joe/x", "/home/joe", true},
      {"/home", "/home*/x", true},
      {"/Home/Joe/docs", "/home/joe/docs/a", false},
  };
  for (const auto& [path, pattern, matches] : folders) {
    EXPECT_EQ(vidxDirMatch(index, path, pattern), matches) << path << pattern;
  }
  const std::tuple<const char*, const char*, bool> words[] = {
      {"comp", "comp*", true}, {"cat", "c*?", false}, {"abc", "a**", false}, {"c", "c**", true},
      {"", "*", true},         {"", "?", true},       {"", "", true},        {"a", "", false},
  };
  for (const auto& [word, term, matches] : words) {
    EXPECT_EQ(vidxDoesWordMatch(index, word, term), matches) << word << " " << term;
  }
}

}  // namespace
}  // namespace veska::test
