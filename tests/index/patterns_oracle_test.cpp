// The fast matchers of names against slow and obvious ones, on generated texts, and against hostile
// ones that those could never finish.

#include <random>

#include "tests/support/indextest.h"
#include "tests/support/slowmatch.h"

namespace veska::test {
namespace {

using PatternsOracle = IndexTest;

class Generator {
 public:
  Generator(unsigned seed, std::string alphabet) : random_(seed), alphabet_(std::move(alphabet)) {}
  std::string operator()(size_t longest) {
    std::string text(random_() % (longest + 1), ' ');
    for (char& c : text) c = alphabet_[random_() % alphabet_.size()];
    return text;
  }

 private:
  std::mt19937 random_;
  std::string alphabet_;
};

std::string repeated(const std::string& piece, size_t times) {
  std::string text;
  for (size_t i = 0; i < times; ++i) text += piece;
  return text;
}

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
    Generator names(kSeed, kind.names), patterns(kSeed + 1, kind.patterns);
    int matches = 0;
    for (int round = 0; round < kind.rounds; ++round) {
      const std::string name = names(kind.nameLength), pattern = patterns(kind.patternLength);
      SCOPED_TRACE("name " + testing::PrintToString(name) + " pattern " +
                   testing::PrintToString(pattern));
      const bool expected = slowTermMatch(name.c_str(), pattern.c_str());
      matches += expected ? 1 : 0;
      ASSERT_EQ(termMatch(name.c_str(), pattern.c_str()), expected) << "term";
      ASSERT_EQ(vFileNameMatch(name.c_str(), pattern.c_str()),
                slowNameMatch(name.c_str(), pattern.c_str()))
          << "name";
      ASSERT_EQ(vidxDirMatch(index.get(), name.c_str(), pattern.c_str()),
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
  EXPECT_FALSE(vidxDirMatch(index.get(), name.c_str(), (stars + "b/").c_str()));
  EXPECT_FALSE(vidxDoesWordMatch(index.get(), name.c_str(), (stars + "b").c_str()));
  EXPECT_TRUE(vidxDoesWordMatch(index.get(), (name + "b").c_str(), (stars + "b").c_str()));
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
  EXPECT_FALSE(vidxDoesWordMatch(index.get(), longName.c_str(), "*a*a*b"));
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
    set(index.get(), '*', setting.star);
    set(index.get(), '?', setting.question);
    Generator words(kSeed, "abA*?\xE9"), terms(kSeed + 1, "abA*?\xE9");
    Generator plainWords(kSeed, "ab"), plainTerms(kSeed + 1, "ab*?");
    for (int round = 0; round < 30000; ++round) {
      const std::string word = round % 2 != 0 ? words(6) : plainWords(7);
      const std::string term = round % 2 != 0 ? terms(6) : plainTerms(6);
      ASSERT_EQ(vidxDoesWordMatch(index.get(), word.c_str(), term.c_str()),
                slowWordMatch(word.c_str(), term.c_str(), setting.wild))
          << testing::PrintToString(word) << " term " << testing::PrintToString(term) << " wild "
          << setting.wild;
    }
  }
}

// The rules' own consequences, so that both transcriptions are held against something.
TEST_F(PatternsOracle, WellKnownExamples) {
  const IndexPtr index = newIndex();
  const struct {
    const char *name, *pattern;
    bool matches;
  } names[] = {
      {"", "", true},
      {"a", "", false},
      {"", "*", true},
      {"abc", "*", true},
      {"abc", "abc?", true},
      {"abc", "abc*", true},
      {"ab", "abc", false},
      {"abcd", "abc", false},
      {"abcdef", "abc|xyz", true},
      {"xyzq", "xyz", false},
      {"/home/a/b.txt", "*.TXT", true},
      {"a.txt", "*?.txt", false},
      {"a?.txt", "*?.txt", true},
      {"/d/a.txt", "*.txt ^ */old/*", true},
      {"/d/old/a.txt", "*.txt ^ */old/*", false},
      {"a.doc", "^*.txt", true},
      {"a.txt", "^*.txt", false},
      {"ab", "a*|x&*c", false},
      {"ac", "a*|x&*c", true},
      {"a.html", "*.htm|*.txt", true},
      {"x.txt", "*.htm | *.txt", true},
      {"\xC1", "\xE1", true},
      {"\xC0", "\xE0", false},
      {"x\x7F", "x", false},
  };
  for (const auto& c : names) {
    EXPECT_EQ(vFileNameMatch(c.name, c.pattern), c.matches) << c.name << " " << c.pattern;
    EXPECT_EQ(slowNameMatch(c.name, c.pattern), c.matches) << c.name << " " << c.pattern;
  }
  const struct {
    const char *path, *pattern;
    bool matches;
  } folders[] = {
      {"/home/joe", "/home/*/docs/*.txt", true},
      {"/usr", "/home/*", false},
      {"/usr", "*.txt", true},
      {"/home", "/home/joe/x", false},
      {"/home/joe/x", "/home/joe", true},
      {"/home", "/home*/x", true},
      {"/Home/Joe/docs", "/home/joe/docs/a", false},
  };
  for (const auto& c : folders) {
    EXPECT_EQ(vidxDirMatch(index.get(), c.path, c.pattern), c.matches) << c.path << c.pattern;
  }
  const struct {
    const char *word, *term;
    bool matches;
  } words[] = {
      {"computer", "comp*", true},
      {"comp", "comp*", true},
      {"cat", "c?t", true},
      {"cat", "cat?", true},
      {"sing", "*ing", true},
      {"cats", "cat", false},
      {"cat", "c*?", false},
      {"abc", "a**", false},
      {"c", "c**", true},
      {"c*", "c**", true},
      {"cat", "Cat", false},
      {"", "*", true},
      {"", "?", true},
      {"", "", true},
      {"a", "", false},
  };
  for (const auto& c : words) {
    EXPECT_EQ(vidxDoesWordMatch(index.get(), c.word, c.term), c.matches) << c.word << " " << c.term;
  }
}

}  // namespace
}  // namespace veska::test
