// Queries cut for an index of Unicode text, and where their words stand in texts.
#include "host/words.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/hits.h"
#include "tests/host/smallindex.h"

namespace veska {
namespace {

class UnicodeWords : public testing::Test {
 protected:
  UnicodeWords() : files_(true) {
    files_.write("a.txt", "\u00E9t\u00E9\n");
    files_.build();
    index_ = files_.open();
    reader_ = std::make_unique<Reader>(index_, files_.tables());
  }

  // The words with blanks between, those glued to the one before with "+".
  std::string cut(const std::string& text) {
    std::string out;
    for (const CutWord& word : cutUnicode(index_, text).words) {
      if (!out.empty()) out += word.glued ? '+' : ' ';
      out += word.text;
    }
    return out;
  }

  // The text with what is marked in brackets; "-" before it when the query does not hold.
  std::string marked(const std::string& queryText, const std::string& text) {
    const QueryResult parsed = parseQuery(
        queryText, {}, [this](std::string_view part) { return cutUnicode(index_, part); });
    EXPECT_TRUE(parsed.query) << parsed.error.message;
    const HitFinder finder(*reader_, *parsed.query);
    const std::vector<WordHit> hits = finder.find(text);
    std::string out = finder.holds(parsed.query->leaves.front(), hits) ? "" : "-";
    size_t at = 0;
    for (const Mark& mark : finder.marks(hits)) {
      if (mark.end <= at) continue;
      const size_t begin = std::max(at, mark.begin);
      if (begin > at || at == 0) out += text.substr(at, begin - at);
      out += "[" + text.substr(begin, mark.end - begin) + "]";
      at = mark.end;
    }
    return out + text.substr(at);
  }

  test::SmallIndex files_;
  CVeskaIndex* index_ = nullptr;
  std::unique_ptr<Reader> reader_;
};

TEST_F(UnicodeWords, QueriesAreCutAsDocumentsAre) {
  const std::pair<const char*, const char*> cases[] = {
      {"Caf\u00C9", "caf\u00E9"},
      {"Stra\u00DFe-CAFE\u0301", "strasse caf\u00E9"},
      {"\u6771\u4EAC\u90FD", "\u6771\u4EAC+\u4EAC\u90FD"},
      {"\u6771\u4EAC \u4EAC\u90FD", "\u6771\u4EAC \u4EAC\u90FD"},
      {"iPhone\u7528", "iphone \u7528"},
      {"Caf*", "caf*"},
      {"\u6771*", "\u6771"},
      {"*\u4EAC\u90FD*", "\u4EAC\u90FD"},
      {"\u4EAC * \u90FD", "\u4EAC * \u90FD"},
      {"one * two", "one * two"},
      {"a\u2019b", "a b"},
  };
  for (const auto& [text, words] : cases) EXPECT_EQ(cut(text), words) << text;
}

TEST_F(UnicodeWords, HitsAreWholeCharactersInARow) {
  const struct {
    const char* query;
    const char* text;
    const char* marked;
  } cases[] = {
      {"ete", "L'\u00C9T\u00C9, ete", "L'[\u00C9T\u00C9], [ete]"},
      {"\u00E9t\u00E9", "ete \u00E9te\u0301", "ete [\u00E9te\u0301]"},
      {"et*", "\u00E9tude autre", "[\u00E9tude] autre"},
      {"\u00E9t*", "etude \u00E9tat", "etude [\u00E9tat]"},
      {"\u6771\u4EAC\u90FD", "\u6771\u4EAC\u90FD\u306F", "[\u6771\u4EAC][\u90FD]\u306F"},
      {"\u6771\u4EAC\u90FD", "\u6771\u4EAC\u3001\u4EAC\u90FD", "-\u6771\u4EAC\u3001\u4EAC\u90FD"},
      {"\"\u6771\u4EAC \u4EAC\u90FD\"", "\u6771\u4EAC\u3001\u4EAC\u90FD",
       "[\u6771\u4EAC]\u3001[\u4EAC\u90FD]"},
      {"\u90FD", "\u4EAC\u90FD\u306E \u90FD", "\u4EAC[\u90FD]\u306E [\u90FD]"},
      {"\u0E01\u0E34\u0E19", "\u0E01\u0E34\u0E19\u0E02", "[\u0E01\u0E34][\u0E19]\u0E02"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(marked(each.query, each.text), each.marked) << each.query << " in " << each.text;
  }
}

}  // namespace
}  // namespace veska
