// The query language: what is understood, what is refused, and that no query is too much.
#include "host/query.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tests/support/generated.h"

namespace veska {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// Words shorter than two letters and "the" are not in this index.
std::string rule(const std::string& word) {
  if (word == "the") return "it is a skip word";
  return word.size() < 2 ? "too short" : "";
}

std::string leafText(const Query& query, const QueryLeaf& leaf) {
  std::string text;
  for (size_t i = 0; i < leaf.words.size(); ++i) {
    if (leaf.kind == QueryLeaf::Kind::kNear && i == leaf.leftWords) {
      text += "~" + std::to_string(leaf.distance) + "~";
    } else if (i > 0) {
      text += "_";
    }
    text += query.words[leaf.words[i]].text;
  }
  return leaf.negated ? "!" + text : text;
}

// The program in postfix; leaves under an odd number of NOTs have a "!" before them.
std::string programOf(const std::string& text) {
  const QueryResult result = parseQuery(text, rule);
  if (!result.query) return "error: " + result.error.message;
  std::string program;
  for (const QueryStep& step : result.query->program) {
    constexpr std::array<const char*, 4> kNames = {"", "&", "|", "-"};
    if (!program.empty()) program += ' ';
    program += step.op == QueryStep::Op::kLeaf
                   ? leafText(*result.query, result.query->leaves[step.leaf])
                   : kNames[static_cast<size_t>(step.op)];
  }
  return program;
}

TEST(Query, OperatorsBindAsDocumented) {
  const std::pair<const char*, const char*> cases[] = {
      {"Linux KERNEL", "linux kernel &"},  {"a1 b1 OR c1 d1", "a1 b1 & c1 d1 & |"},
      {"a1 -b1 OR c1", "a1 !b1 - & c1 |"}, {"a1 -(b1 -c1)", "a1 !b1 c1 - & - &"},
      {"a1 --b1", "a1 !b1 - &"},           {"a1 -- b1", "a1 b1 &"},
      {"a1 NOT NOT b1", "a1 b1 - - &"},    {"or and not near", "or and & not & near &"},
      {"a1\u3000\u3000b1", "a1 b1 &"},     {"printf(format)", "printf format &"},
  };
  for (const auto& [text, program] : cases) EXPECT_EQ(programOf(text), program) << text;
}

TEST(Query, WordsAreCutAndFoldedAsTheIndexDoes) {
  const std::pair<const char*, const char*> cases[] = {
      {"foo-bar", "foo_bar"},
      {"don't", "don_t"},
      {"snake_case", "snake_case"},
      {"\"Free  Software\"", "free_software"},
      {"“free software”", "free_software"},
      {"\"the cat\"", "the_cat"},
      {"a1 NEAR \"b1 c1\"", "a1~10~b1_c1"},
      {"a1 NEAR/2 b1 NEAR/3 c1", "a1~2~b1 b1~3~c1 &"},
      {"-(a1 NEAR/2 b1) c1", "!a1~2~b1 - c1 &"},
      {"comp*", "comp*"},
      {"c*?*?t", "c??*t"},
      {"caf\xC3\xA9", "caf\xE9"},
      {"cafe\xCC\x81", "caf\xE9"},
      {"\xC3\x89t\xC3\xA9", "\xE9t\xE9"},
      {"\xC3\x80 la", "la"},     // one letter
      {"Łódź", "l\363dz"},       // the closest letters
      {"na\xEFve", "na\xEFve"},  // no UTF-8: a terminal in Windows-1252
  };
  for (const auto& [text, program] : cases) EXPECT_EQ(programOf(text), program) << text;
}

TEST(Query, WhatNoIndexHoldsIsLeftOutWithItsOperator) {
  EXPECT_EQ(programOf("(the OR a) cat"), "cat");
  EXPECT_EQ(programOf("cat -the"), "cat");
  EXPECT_EQ(programOf("cat & dog"), "cat dog &");
  const QueryResult result = parseQuery("c++ && \"the a\" cat", rule);
  ASSERT_TRUE(result.query);
  EXPECT_THAT(result.query->notes,
              ElementsAre("\"c++\" was ignored: too short",
                          "\"&&\" was ignored: it has no letters or digits",
                          "\"the a\" was ignored: none of its words is indexed"));
}

TEST(Query, EqualWordsAreOne) {
  const QueryResult result = parseQuery("cat Cat OR \"cat dog\" -cat", rule);
  ASSERT_TRUE(result.query);
  EXPECT_EQ(result.query->words.size(), 2u);
}

TEST(Query, ErrorsPointAtThePlace) {
  const std::tuple<std::string, std::string, size_t> cases[] = {
      {"", "the query is empty", 0},
      {"cat OR", "OR wants a word, a phrase or a parenthesis after it", 6},
      {"OR cat", "OR wants something before it", 0},
      {"(cat", "this parenthesis is never closed", 0},
      {"cat)", "this parenthesis was never opened", 3},
      {"cat \"dog", "this quotation mark has no counterpart", 4},
      {"cat NEAR/x dog", "NEAR/ wants a number", 4},
      {"cat NEAR/0 dog", "NEAR/ wants a number", 4},
      {"cat NEAR/99999999999999999999 dog", "NEAR/ wants a number", 4},
      {"cat NEAR (dog)", "NEAR wants a word or a phrase after it", 9},
      {"(cat) NEAR dog", "NEAR stands between", 6},
      {"-cat", "only says what to leave out", 0},
      {"cat OR -dog", "only says what to leave out", 7},
      {"-(cat -dog) -bird", "only says what to leave out", 0},
      {"a b", "nothing is left to search for", 0},
      {"cat \xD0\xBF\xD1\x80", "no index word can hold \"\xD0\xBF\"", 4},
  };
  for (const auto& [text, message, at] : cases) {
    const QueryResult result = parseQuery(text, rule);
    EXPECT_FALSE(result.query) << text;
    EXPECT_THAT(result.error.message, HasSubstr(message)) << text;
    EXPECT_EQ(result.error.at, at) << text;
  }
  EXPECT_EQ(explain({"wrong", 5}, "caf\xC3\xA9 dog"), "wrong\ncaf\xC3\xA9 dog\n    ^");
}

TEST(Query, HostileQueriesEndWithAClearMessage) {
  const auto errorOf = [](const std::string& text) { return parseQuery(text, rule).error.message; };
  EXPECT_THAT(errorOf(std::string(1 << 20, 'x')), HasSubstr("too long"));
  EXPECT_THAT(errorOf(std::string(60000, '(')), HasSubstr("nested deeper"));
  EXPECT_THAT(errorOf(test::repeated("NOT ", 10000) + "cat"), HasSubstr("nested deeper"));
  std::string many;
  for (int i = 0; i < 5000; ++i) many += "w" + std::to_string(i) + " ";
  EXPECT_THAT(errorOf(many), HasSubstr("more than 1000 words"));
  std::string stars;
  for (int i = 0; i < 100; ++i) stars += "*w" + std::to_string(i) + " ";
  EXPECT_THAT(errorOf(stars), HasSubstr("words with *"));
  EXPECT_THAT(errorOf(std::string(60000, '"')), HasSubstr("nothing is left"));
  EXPECT_THAT(errorOf(test::repeated("() ", 10000)), HasSubstr("nothing is left"));
}

// Whatever the text: either a program in which every step finds its operands, or an error in it.
TEST(Query, EveryTextGivesAProgramOrAnError) {
  const std::vector<std::string> parts = {
      "(", ")",     "OR ",     "AND ", "NOT ", "-",    "\"", "cat ", "dog ", "*",
      "?", "NEAR ", "NEAR/3 ", "the ", "\xC3", "\xA9", "a ", " ",    "&",    "\xE2\x80\x9C"};
  test::Generator generate(20240331);
  int programs = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string text = generate.anyOf(parts, 13);
    const QueryResult result = parseQuery(text, rule);
    if (!result.query) {
      ASSERT_FALSE(result.error.message.empty()) << text;
      ASSERT_LE(result.error.at, text.size()) << text;
      continue;
    }
    ++programs;
    int depth = 0;
    for (const QueryStep& step : result.query->program) {
      if (step.op == QueryStep::Op::kLeaf) {
        ++depth;
      } else if (step.op != QueryStep::Op::kNot) {
        --depth;
      }
      ASSERT_GE(depth, 1) << text;
    }
    ASSERT_EQ(depth, 1) << text;
  }
  EXPECT_GT(programs, 1000);
}

}  // namespace
}  // namespace veska
