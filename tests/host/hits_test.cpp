// Where words, phrases and NEAR hold in a text, and the lines that are shown for them.
#include "host/hits.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "host/encoding.h"
#include "host/snippets.h"
#include "host/words.h"
#include "tests/host/smallindex.h"
#include "tests/support/generated.h"

namespace veska {
namespace {

// An index whose words are cut as the queries are, of 8-bit text or of Unicode text.
class HitsTest : public testing::Test {
 protected:
  explicit HitsTest(bool unicode) : unicode_(unicode), files_(unicode) {
    files_.write("a.txt", "été\n");
    files_.build();
    index_ = files_.open();
    reader_ = unicode ? std::make_unique<Reader>(index_, files_.tables())
                      : std::make_unique<Reader>(index_);
  }

  QueryResult parse(const std::string& text) const {
    const auto cut = [this](std::string_view part) { return cutUnicode(index_, part); };
    QueryResult parsed = unicode_ ? parseQuery(text, {}, cut) : parseQuery(text);
    EXPECT_TRUE(parsed.query) << parsed.error.message;
    return parsed;
  }

  // The text with what is marked in brackets; "-" before it when the query's first leaf does not
  // hold.
  std::string marked(const std::string& queryText, const std::string& text) const {
    const QueryResult parsed = parse(queryText);
    const HitFinder finder(*reader_, *parsed.query);
    const std::vector<WordHit> hits = finder.find(text);
    std::string out = finder.holds(parsed.query->leaves.front(), hits) ? "" : "-";
    size_t at = 0;
    for (const Mark& mark : finder.marks(hits)) {
      if (mark.end <= at) continue;
      const size_t begin = std::max(at, mark.begin);
      out += text.substr(at, begin - at) + "[" + text.substr(begin, mark.end - begin) + "]";
      at = mark.end;
    }
    return out + text.substr(at);
  }

  std::vector<Snippet> snippets(const std::string& queryText, const std::string& text,
                                const SnippetOptions& options) const {
    const QueryResult parsed = parse(queryText);
    const HitFinder finder(*reader_, *parsed.query);
    return makeSnippets(text, finder.marks(finder.find(text)), options);
  }

  const bool unicode_;
  test::SmallIndex files_;
  CVeskaIndex* index_ = nullptr;
  std::unique_ptr<Reader> reader_;
};

struct Hits : HitsTest {
  Hits() : HitsTest(false) {}
};
struct UnicodeHits : HitsTest {
  UnicodeHits() : HitsTest(true) {}
};

struct Case {
  const char* query;
  const char* text;
  const char* marked;
};

TEST_F(Hits, HoldWhereTheLanguageSaysSo) {
  const Case cases[] = {
      {"cat", "Cat, cats; CAT", "[Cat], cats; [CAT]"},
      {"c?t*", "cat cats dog", "[cat] [cats] dog"},
      {"\xC3\xA9t\xC3\xA9", "\xC9t\xE9 ete", "[\xC9t\xE9] ete"},
      {"\"free software\"", "free. Software is free software",
       "[free]. [Software] is [free] [software]"},
      {"\"a a b\"", "a a a b a b", "a [a] [a] [b] a b"},
      {"\"a b\"", "b a c b", "-b a c b"},
      {"\"one * three\"", "one two three one three", "[one] [two] [three] one three"},
      {"foo-bar", "foo_bar foo, bar foobar", "[foo]_[bar] [foo], [bar] foobar"},
      {"a NEAR/2 b", "b x a x x x b", "[b] x [a] x x x b"},
      {"a NEAR/2 b", "a x x b", "-a x x b"},
      {"a NEAR/1 a", "a", "-a"},
      {"a NEAR/1 a", "a a", "[a] [a]"},
      {"\"a b\" NEAR/2 c", "c a b x c", "[c] [a] [b] x [c]"},
      {"cat -\"big dog\"", "cat big dog", "[cat] big dog"},
  };
  for (const Case& c : cases) EXPECT_EQ(marked(c.query, c.text), c.marked) << c.query;
}

TEST_F(Hits, LongPhrasesOfOneWordStayLinear) {
  const std::string phrase = "\"" + test::repeated("a ", 900);
  std::string text = test::repeated("a ", 200000);
  const QueryResult parsed = parse(phrase + "b\"");
  const HitFinder finder(*reader_, *parsed.query);
  EXPECT_FALSE(finder.holds(parsed.query->leaves.front(), finder.find(text)));
  text += "b";
  EXPECT_TRUE(finder.holds(parsed.query->leaves.front(), finder.find(text)));
}

TEST_F(Hits, PartsOfALongTextMarkWhatTheWholeMarks) {
  std::string text;
  uint32_t random = 1;
  for (int i = 0; i < 300000; ++i) {
    random = random * 1664525 + 1013904223;
    text += std::string(2, static_cast<char>('a' + (random >> 24) % 3)) + " ";
  }
  for (const char* query :
       {"\"aa * bb\"", "aa NEAR/40 \"bb cc cc aa bb\"", "\"cc cc cc cc cc\" aa"}) {
    const QueryResult parsed = parseQuery(query);
    const HitFinder finder(*reader_, *parsed.query);
    size_t most = 0;
    std::vector<size_t> inParts;
    finder.findInParts(text, [&](const std::vector<WordHit>& hits, WordRange range) {
      most = std::max(most, hits.size());
      for (const Mark& mark : finder.marks(hits, range)) inParts.push_back(mark.begin);
    });
    std::vector<size_t> whole;
    for (const Mark& mark : finder.marks(finder.find(text))) whole.push_back(mark.begin);
    EXPECT_TRUE(inParts == whole) << query;
    EXPECT_LT(most, 70000u) << query;
  }
}

TEST_F(Hits, SnippetsAreTheLinesWithMostDifferentWords) {
  const std::string text = "cat\ncat\n\ncat and dog\ncat\n\tdog   dog\n";
  const std::vector<Snippet> two = snippets("cat dog", text, {2, 100});
  ASSERT_EQ(two.size(), 2u);
  EXPECT_EQ(two[0].line, 1u);
  EXPECT_EQ(two[1].line, 4u);
  EXPECT_EQ(two[1].text, "cat and dog");
  EXPECT_EQ(two[1].hits, (std::vector<std::pair<size_t, size_t>>{{0, 3}, {8, 11}}));
  EXPECT_EQ(snippets("dog", text, {9, 100}).back().text, "dog dog");
}

TEST_F(Hits, SnippetsOfLongLinesKeepTheHitAndWholeCharacters) {
  const std::string text =
      test::repeated("\u20ACé ", 300) + "needle" + test::repeated(" é\u20AC", 300);
  for (size_t width = 20; width < 60; ++width) {
    const std::vector<Snippet> found = snippets("needle", text, {3, width});
    ASSERT_EQ(found.size(), 1u);
    ASSERT_EQ(found[0].hits.size(), 1u);
    const auto [begin, end] = found[0].hits[0];
    EXPECT_EQ(found[0].text.substr(begin, end - begin), "needle");
    EXPECT_EQ(found[0].text.find("\xEF\xBF\xBD"), std::string::npos) << found[0].text;
    EXPECT_EQ(found[0].text.find("\xC3\xA2"), std::string::npos) << "a character was cut in two";
    EXPECT_LE(columnCount(found[0].text), width + 2) << "with two ellipses";
  }
}

TEST_F(Hits, SnippetsHoldNoControls) {
  const std::vector<Snippet> found =
      snippets("needle", "a\x1B[31m needle\x07 \xC2\x9B z\r\n", {3, 100});
  ASSERT_EQ(found.size(), 1u);
  for (const char byte : found[0].text) EXPECT_GE(static_cast<unsigned char>(byte), ' ');
  EXPECT_EQ(found[0].text.find("\xC2\x9B"), std::string::npos);
}

// Glued words, of one run of characters without blanks, have a "+" before them.
TEST_F(UnicodeHits, QueriesAreCutAsDocumentsAre) {
  const std::pair<const char*, const char*> cases[] = {
      {"CafÉ", "café"},
      {"Straße-CAFE\u0301", "strasse café"},
      {"東京都", "東京+京都"},
      {"東京 京都", "東京 京都"},
      {"iPhone用", "iphone 用"},
      {"Caf*", "caf*"},
      {"東*", "東"},
      {"*京都*", "京都"},
      {"京 * 都", "京 * 都"},
      {"one * two", "one * two"},
      {"a’b", "a b"},
  };
  for (const auto& [text, words] : cases) {
    std::string out;
    for (const CutWord& word : cutUnicode(index_, text).words) {
      if (!out.empty()) out += word.glued ? '+' : ' ';
      out += word.text;
    }
    EXPECT_EQ(out, words) << text;
  }
}

TEST_F(UnicodeHits, AreWholeCharactersInARow) {
  const Case cases[] = {
      {"ete", "L'ÉTÉ, ete", "L'[ÉTÉ], [ete]"},
      {"été", "ete éte\u0301", "ete [éte\u0301]"},
      {"et*", "étude autre", "[étude] autre"},
      {"ét*", "etude état", "etude [état]"},
      {"東京都", "東京都は", "[東京][都]は"},
      {"東京都", "東京、京都", "-東京、京都"},
      {"\"東京 京都\"", "東京、京都", "[東京]、[京都]"},
      {"都", "京都の 都", "京[都]の [都]"},
      {"\u0E01\u0E34\u0E19", "\u0E01\u0E34\u0E19\u0E02", "[\u0E01\u0E34][\u0E19]\u0E02"},
  };
  for (const Case& c : cases) EXPECT_EQ(marked(c.query, c.text), c.marked) << c.query;
}

}  // namespace
}  // namespace veska
