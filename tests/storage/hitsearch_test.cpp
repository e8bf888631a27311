// Queries and texts made to take long or to nest deep. That these cases end is what they show.

#include "storage/hitsearch.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace {

std::string times(size_t count, const std::string& piece) {
  std::string text;
  text.reserve(count * piece.size());
  while (count-- > 0) text += piece;
  return text;
}

TEST(HitSearch, EndsSoonOnHostileQueries) {
  WordClasses classes;
  for (int b = 1; b < 256; ++b)
    classes.startTable[b] = classes.insideTable[b] = std::isalnum(b) != 0;
  constexpr size_t kBytes = 1 << 20;
  constexpr long kNone = -1;
  const std::string letters = times(kBytes / 2, "a ");
  const std::string words = times(kBytes / 5, "aaaa ");
  const std::string oneWord(kBytes, 'a');
  const std::string lateHit = letters + "b";
  const struct {
    const char* name;
    const std::string& text;
    std::string query;
    long hit;
  } cases[] = {
      {"stars", words, times(300, "*a") + "*b", kNone},
      {"stars in one word", oneWord, times(300, "*a") + "*b", kNone},
      {"more stars than an automaton holds", oneWord, "a" + times(5000, "*a") + "*b", kNone},
      {"any bytes and stars", oneWord, times(500, "*a?") + "b", kNone},
      {"groups", letters, times(100000, "(") + "a" + times(100000, ")"), 0},
      {"groups left out", letters, times(100000, "+(") + "a", kNone},
      {"conditions that never hold", letters, times(10000, "a<8 ") + "b", kNone},
      {"conditions that always hold", letters, times(1000, "a<8 ") + "a", 0},
      {"conditions in groups", letters, times(10000, "(a<8 ") + "b" + times(10000, ")"), kNone},
      {"conditions on one word", oneWord, times(1000, "*<8 ") + "b", kNone},
      {"a distance beyond all numbers", lateHit, "a<88888888888888888888 b", 0},
      {"a distance that falls short", lateHit, "a<1 b", static_cast<long>(kBytes) - 4},
      {"many terms", letters, times(200000, "b") + times(200000, " b"), kNone},
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
  classes.startTable['a'] = classes.insideTable['a'] = true;
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
