// The search for hits against a slow and obvious one, which walks the query byte by byte at every
// word and tries whatever can be tried, on small generated texts and queries.

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <string>
#include <vector>

#include "storage/hitsearch.h"
#include "tests/support/generated.h"

namespace {

using veska::test::Generator;
using veska::test::repeated;

class Oracle {
 public:
  Oracle(const WordClasses& classes, std::string text, std::string query, int defaultDistance)
      : classes_(classes),
        text_(std::move(text)),
        query_(std::move(query)),
        defaultDistance_(defaultDistance) {}

  // Position of the hit; the text's length for none.
  size_t forwards(size_t start, int maxWords) const { return search(start, 0, maxWords); }

  // -1 for none.
  long backwards(size_t start, int maxWords) const {
    int tested = 0;
    for (long word = previousWord(start); word >= 0;
         word = previousWord(static_cast<size_t>(word))) {
      if (isHit(static_cast<size_t>(word), 0)) return word;
      if (maxWords != 0 && ++tested > maxWords) return static_cast<long>(text_.size());
    }
    return -1;
  }

  static bool isMatch(const WordClasses& classes, const char* t, const char* p, bool atStart) {
    for (;; ++t, ++p, atStart = false) {
      const bool wildcard = *p == '?' || *p == '*';
      const bool inWord = atStart ? classes.starts(*t) : classes.continues(*t);
      if (!classes.continues(*p) && !wildcard) return !inWord;
      if (!inWord) {
        if (classes.continues(*p)) return false;
        while (*p == '?' || *p == '*') ++p;
        return !classes.continues(*p);
      }
      if (*p == '*') {
        if (!classes.continues(p[1])) return true;
        for (; classes.continues(*t); ++t)
          if (foldByte(*t) == static_cast<unsigned char>(p[1]) && isMatch(classes, t, p + 1, false))
            return true;
        return false;
      }
      if (*p == '?' && !classes.continues('?')) continue;
      if (foldByte(*t) != static_cast<unsigned char>(*p)) return false;
    }
  }

 private:
  char queryByte(size_t q) const { return q < query_.size() ? query_[q] : '\0'; }
  bool isTerm(size_t q) const { return classes_.isTermByte(queryByte(q)); }
  bool is(size_t q, char special) const { return !isTerm(q) && queryByte(q) == special; }
  bool isSeparator(size_t q) const {
    return !isTerm(q) && q < query_.size() &&
           std::string("()&<+").find(query_[q]) == std::string::npos;
  }
  bool atEnd(size_t q) const { return q >= query_.size() || is(q, '&'); }

  size_t skipTerm(size_t q) const {
    while (isTerm(q)) ++q;
    return q;
  }
  size_t skipSeparators(size_t q) const {
    while (isSeparator(q)) ++q;
    return q;
  }

  // q is behind a "<".
  size_t skipNumber(size_t q, int& distance) const {
    distance = defaultDistance_;
    if (queryByte(q) < '0' || queryByte(q) > '8') return q;
    long number = 0;
    for (; queryByte(q) >= '0' && queryByte(q) <= '8'; ++q)
      number = std::min(number * 10 + (query_[q] - '0'), static_cast<long>(INT_MAX));
    distance = static_cast<int>(number);
    return q;
  }

  // Over "+", and over a term or a group; found says whether there was one.
  size_t skipUnit(size_t q, bool& found) const {
    q = skipSeparators(q);
    while (is(q, '+')) q = skipSeparators(q + 1);
    found = isTerm(q) || is(q, '(');
    if (isTerm(q)) return skipTerm(q);
    if (!is(q, '(')) return q;
    int depth = 0;
    for (; !atEnd(q); ++q) {
      if (is(q, '(')) ++depth;
      if (is(q, ')') && --depth == 0) return q + 1;
    }
    return q;
  }

  // Over the ")" of open groups and separators.
  size_t skipCloses(size_t q, int& depth) const {
    for (;; ++q, --depth) {
      q = skipSeparators(q);
      if (!is(q, ')') || depth == 0) return q;
    }
  }

  size_t skipConditions(size_t q, int& depth) const {
    for (;;) {
      q = skipCloses(q, depth);
      if (!is(q, '<')) return q;
      int distance;
      bool found;
      q = skipUnit(skipNumber(q + 1, distance), found);
    }
  }

  bool conditionHolds(size_t word, size_t q, int distance) const {
    if (distance <= 0) return false;
    const size_t found = search(word + 1, q, distance);
    return found < text_.size() && found != word + 1;
  }

  // Is the word at this position a hit of the query from q on?
  bool isHit(size_t word, size_t q) const {
    int depth = 0;
    for (;;) {
      q = skipSeparators(q);
      if (atEnd(q) || is(q, '<')) return false;
      if (is(q, '(')) {
        ++depth;
        ++q;
      } else if (is(q, ')')) {
        if (depth == 0) return false;
        --depth;
        ++q;
      } else if (is(q, '+')) {
        bool found;
        q = skipUnit(q, found);
        if (found) q = skipConditions(q, depth);
      } else {
        if (isMatch(classes_, text_.c_str() + word, query_.c_str() + q, true)) {
          int open = depth;
          const size_t next = skipCloses(skipTerm(q), open);
          if (!is(next, '<')) return true;
          int distance;
          const size_t rest = skipNumber(next + 1, distance);
          if (conditionHolds(word, rest, distance)) return true;
        }
        q = skipConditions(skipTerm(q), depth);
      }
    }
  }

  size_t search(size_t start, size_t q, int maxWords) const {
    size_t word = start;
    const auto toStart = [&] {
      while (word < text_.size() && !classes_.starts(text_[word])) ++word;
    };
    int tested = 0;
    for (toStart(); word < text_.size(); toStart()) {
      if (isHit(word, q)) return word;
      if (maxWords != 0 && ++tested > maxWords) return text_.size();
      while (word < text_.size() && classes_.continues(text_[word])) ++word;
    }
    return word;
  }

  // The last position before `before` that begins a word proper.
  long previousWord(size_t before) const {
    long last = -1;
    for (size_t at = 0; at < text_.size();) {
      if (!classes_.starts(text_[at])) {
        ++at;
        continue;
      }
      if (at < before) last = static_cast<long>(at);
      while (at < text_.size() && classes_.continues(text_[at])) ++at;
    }
    return last;
  }

  const WordClasses& classes_;
  const std::string text_;
  const std::string query_;
  const int defaultDistance_;
};

WordClasses makeClasses(const std::string& valid, const std::string& trailing) {
  WordClasses classes;
  for (const char c : valid)
    classes.startTable[static_cast<unsigned char>(c)] =
        classes.insideTable[static_cast<unsigned char>(c)] = true;
  for (const char c : trailing) classes.insideTable[static_cast<unsigned char>(c)] = true;
  return classes;
}

void compare(const WordClasses& classes, const std::string& text, const std::string& query,
             int defaultDistance, bool settle) {
  SCOPED_TRACE("text [" + text + "] query [" + query + "] distance " +
               std::to_string(defaultDistance));
  const Oracle oracle(classes, text, query, defaultDistance);
  HitSearch search(classes, text, query, defaultDistance);
  if (settle) search.settle();
  for (size_t start = 0; start <= text.size(); ++start) {
    const char* const from = text.c_str() + start;
    for (int maxWords = 0; maxWords <= 3; ++maxWords) {
      ASSERT_EQ(search.forwards(from, maxWords) - text.c_str(),
                static_cast<long>(oracle.forwards(start, maxWords)))
          << "from " << start << ", words " << maxWords;
      const char* const back = search.backwards(from, maxWords);
      ASSERT_EQ(back == nullptr ? -1 : back - text.c_str(), oracle.backwards(start, maxWords))
          << "back from " << start << ", words " << maxWords;
    }
  }
}

TEST(HitSearchOracle, AgreesOnQueriesMadeOfAnyBytes) {
  Generator generate(20260101);
  const WordClasses classes = makeClasses("ab", "'");
  for (int round = 0; round < 6000 && !testing::Test::HasFailure(); ++round) {
    const std::string text = generate.bytes("aabbAB '\n", 14);
    const std::string query = generate.bytes("aabb'??**()<<+&01239 ", 14);
    compare(classes, text, query, static_cast<int>(generate.below(3)), round % 2 == 0);
  }
}

TEST(HitSearchOracle, AgreesOnConditionsAndGroups) {
  Generator generate(20260102);
  const WordClasses classes = makeClasses("abc", "-");
  const std::vector<std::string> words = {"a ", "b ", "c ", "ab ", "a-b ", "-c ", "aa "};
  const std::vector<std::string> pieces = {"a ",  "b ", "c",   " c ", "a<1 ", "b<2 ", "<1 ",
                                           "< ",  "a*", "(",   "(",   ")",    ")",    "+",
                                           "*<1", "?b", "a<3", "<1b", "<2(",  ")<1 ", "a)<2"};
  for (int round = 0; round < 12000 && !testing::Test::HasFailure(); ++round) {
    compare(classes, generate.anyOf(words, 7), generate.anyOf(pieces, 9), 1, round % 2 == 0);
  }
}

TEST(HitSearchOracle, AgreesOnRowsOfLikeWords) {
  Generator generate(20260106);
  const WordClasses classes = makeClasses("abc", "-");
  const std::vector<std::string> rows = {"a ",        "b ",   "c ",       "a a a a a ",
                                         "ab ab ab ", "aaa ", "a-a a-a ", "bb bb bb bb "};
  const std::vector<std::string> pieces = {"a<2 ", "a*<1 ", "b<3 ",      "a<1 ",
                                           "*<2 ", "c ",    "(a<1 b)<2 "};
  for (int round = 0; round < 800 && !testing::Test::HasFailure(); ++round) {
    compare(classes, generate.anyOf(rows, 9), generate.anyOf(pieces, 5) + "c", 1, true);
  }
}

TEST(HitSearchOracle, AgreesWhereWildcardsAreWordBytes) {
  Generator generate(20260103);
  for (const char* valid : {"ab*", "ab?", "ab?*", "a"}) {
    const WordClasses classes = makeClasses(valid, "b*");
    for (int round = 0; round < 1500 && !testing::Test::HasFailure(); ++round)
      compare(classes, generate.bytes("ab*? ", 10), generate.bytes("ab**? <1", 8), 2,
              round % 2 == 0);
  }
}

TEST(HitSearchOracle, MatchesOneWordAsTheRecursiveMatcherDoes) {
  Generator generate(20260104);
  for (const char* trailing : {"'", "*", "?'"}) {
    const WordClasses classes = makeClasses("abA\x7F", trailing);
    for (int round = 0; round < 60000; ++round) {
      const std::string text = generate.bytes("aaabbA'*?\x7F ", 10);
      const std::string pattern = generate.bytes("aab'***??\x7F ", 8);
      const bool atStart = round % 2 == 0;
      ASSERT_EQ(termMatches(classes, text.c_str(), pattern.c_str(), atStart),
                Oracle::isMatch(classes, text.c_str(), pattern.c_str(), atStart))
          << "[" << text << "] [" << pattern << "] trailing " << trailing;
    }
  }
}

// More terms with wildcards than one automaton holds.
TEST(HitSearchOracle, AgreesOnManyWildcardTerms) {
  Generator generate(20260105);
  const WordClasses classes = makeClasses("abcd", "");
  std::string query;
  for (int i = 0; i < 1500; ++i)
    query += generate.bytes("abcd", 5) + "d" + generate.bytes("abcd?*", 3) + "*c ";
  for (int round = 0; round < 12 && !testing::Test::HasFailure(); ++round)
    compare(classes, generate.bytes("abcd ", 40), query, 2, round % 2 == 0);
}

// --- Queries and texts made to take long or to nest deep: that these cases end is what they show

TEST(HitSearch, EndsSoonOnHostileQueries) {
  WordClasses classes;
  for (int b = 1; b < 256; ++b)
    classes.startTable[b] = classes.insideTable[b] = std::isalnum(b) != 0;
  constexpr size_t kBytes = 1 << 20;
  constexpr long kNone = -1;
  const std::string letters = repeated("a ", kBytes / 2);
  const std::string words = repeated("aaaa ", kBytes / 5);
  const std::string oneWord(kBytes, 'a');
  const std::string lateHit = letters + "b";
  const struct {
    const char* name;
    const std::string& text;
    std::string query;
    long hit;
  } cases[] = {
      {"stars", words, repeated("*a", 300) + "*b", kNone},
      {"stars in one word", oneWord, repeated("*a", 300) + "*b", kNone},
      {"more stars than an automaton holds", oneWord, "a" + repeated("*a", 5000) + "*b", kNone},
      {"any bytes and stars", oneWord, repeated("*a?", 500) + "b", kNone},
      {"groups", letters, repeated("(", 100000) + "a" + repeated(")", 100000), 0},
      {"groups left out", letters, repeated("+(", 100000) + "a", kNone},
      {"conditions that never hold", letters, repeated("a<8 ", 10000) + "b", kNone},
      {"conditions that always hold", letters, repeated("a<8 ", 1000) + "a", 0},
      {"conditions in groups", letters, repeated("(a<8 ", 10000) + "b" + repeated(")", 10000),
       kNone},
      {"conditions on one word", oneWord, repeated("*<8 ", 1000) + "b", kNone},
      {"a distance beyond all numbers", lateHit, "a<88888888888888888888 b", 0},
      {"a distance that falls short", lateHit, "a<1 b", static_cast<long>(kBytes) - 4},
      {"many terms", letters, repeated("b", 200000) + repeated(" b", 200000), kNone},
  };
  for (const auto& c : cases) {
    HitSearch search(classes, c.text, c.query, 3);
    const char* const hit = search.forwards(c.text.data(), 0);
    const char* const end = c.text.data() + c.text.size();
    EXPECT_EQ(hit == end ? kNone : hit - c.text.data(), c.hit) << c.name;
  }
}

// A host that asks for one hit after the other must not pay for the whole text each time.
TEST(HitSearch, StepsThroughAMillionHits) {
  WordClasses classes;
  classes.startTable[size_t{'a'}] = classes.insideTable[size_t{'a'}] = true;
  const std::string text(1 << 20, 'a');
  for (const char* query : {"a*", "*<2 a a*"}) {
    HitSearch search(classes, text, query, 3);
    size_t hits = 0;
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); (at = search.forwards(at, 0)) != end; ++at) ++hits;
    EXPECT_EQ(hits, text.size()) << query;
  }
}

}  // namespace
