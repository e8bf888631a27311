// The query language, from the text that somebody typed to a program that can be run against the
// postings of an index.
//
//   linux kernel          files that hold both words
//   linux OR bsd          either; binds less tightly than AND, which is what a blank means
//   linux -debian         the first without the second; NOT is the same as -
//   (a OR b) c            grouping
//   comp* wom?n           * any run of characters, ? any one character (none at a word's end)
//   "free software"       the words next to each other, in this order
//   linux NEAR/5 kernel   at most 5 words apart, in either order; NEAR alone means NEAR/10
//
// OR, AND, NOT and NEAR are operators in capitals only. What looks like one word but is split by
// the index (foo-bar, don't) is the phrase of its pieces.
//
// Parsing and evaluation use explicit stacks, so that no query, however deep, uses up the call
// stack; length, depth and number of words are bounded all the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/words.h"

namespace veska {

inline constexpr size_t kMaxQueryBytes = size_t{64} * 1024;
inline constexpr size_t kMaxQueryDepth = 200;
inline constexpr size_t kMaxQueryWords = 1000;
inline constexpr size_t kMaxQueryWildcards = 40;  // each is held against all words of the index
inline constexpr unsigned kDefaultNear = 10;
inline constexpr unsigned kMaxNear = 1000;

// One word of a query, folded and in the index's character set. Equal words of a query share one.
struct QueryWord {
  std::string text;
  bool wildcard = false;
  bool indexed = true;  // false: the index holds no such words (too short or long, a skip word)
  bool single = false;  // WordShape::kSingle
};

// What is found or not found in a file.
struct QueryLeaf {
  enum class Kind { kWord, kPhrase, kNear };
  Kind kind = Kind::kWord;
  std::vector<uint32_t> words;  // numbers in Query::words; for kNear those of the left side first
  size_t leftWords = 0;         // kNear: how many of them are the left side
  unsigned distance = 0;        // kNear
  bool negated = false;         // under an odd number of NOTs
  std::vector<bool> glued{};    // for each of them: overlaps the one before; empty: none does

  // Whether the postings alone cannot decide: order and distance are only in the texts.
  bool needsText() const { return kind != Kind::kWord; }
};

// Postfix: a leaf pushes, NOT replaces the top, AND and OR take two and push one.
struct QueryStep {
  enum class Op : uint8_t { kLeaf, kAnd, kOr, kNot };
  Op op;
  uint32_t leaf = 0;  // kLeaf: number in Query::leaves
};

struct Query {
  std::vector<QueryWord> words;
  std::vector<QueryLeaf> leaves;
  std::vector<QueryStep> program;  // never empty
  std::vector<std::string> notes;  // what was ignored and why, UTF-8, a sentence each

  bool needsText() const;
  // Whether it would find files for what they do not hold; parseQuery lets no such query through.
  bool onlyExcludes() const;
  // Words that a result holds, as against those that it must not hold.
  std::vector<bool> positiveWords() const;
};

struct QueryError {
  std::string message;  // UTF-8
  size_t at = 0;        // byte of the query text that it is about
};

// Why no index word can equal this one (folded, in the index's character set): "it is a skip word".
// An empty text: the index may hold it. A null function: it may hold every word.
using WordRule = std::function<std::string(const std::string& word)>;

// text: UTF-8. cut: that of the index. Result: the query, or what is wrong with it.
struct QueryResult {
  std::optional<Query> query;
  QueryError error;  // when there is no query
};
QueryResult parseQuery(std::string_view text, const WordRule& whyNotIndexed = {},
                       const WordCutter& cut = cutBytes);

// An error with the part of the query that it is about and a mark under the place; several lines.
std::string explain(const QueryError& error, std::string_view text);

}  // namespace veska
