// Where the words of a query stand in the text of a file: decides about phrases and NEAR, which
// postings cannot, and tells what to mark.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/query.h"
#include "host/reader.h"

namespace veska {

// A word of a text that a word of the query matches.
struct WordHit {
  uint32_t ordinal;  // number of the word in the text, from 0
  uint32_t word;     // number in Query::words
  size_t offset;     // bytes
  size_t length;     // bytes
};

// A part of a text to mark.
struct Mark {
  size_t begin;
  size_t end;
  uint32_t leaf;  // number in Query::leaves
};

// The words of a text from the ordinal `from` on up to `end`, which is not among them.
struct WordRange {
  uint32_t from = 0;
  uint32_t end = UINT32_MAX;
};

// Both must outlive the finder. The text is split as the index splits it; each pass over a text is
// linear in it, however the query looks.
class HitFinder {
 public:
  HitFinder(Reader& reader, const Query& query);

  // All of them, by ordinal; a word of the text that several words of the query match comes for
  // each.
  std::vector<WordHit> find(std::string_view text) const;
  // The same in parts, so that a long text full of hits takes little memory. A part has all hits of
  // the words in `range`, which follow on those of the part before, and those around them that
  // decide with them about phrases and NEAR.
  using Part = std::function<void(const std::vector<WordHit>& hits, WordRange range)>;
  void findInParts(std::string_view text, const Part& use) const;

  // Whether the leaf holds in the text, or part of it, that the hits are from.
  bool holds(const QueryLeaf& leaf, const std::vector<WordHit>& hits) const;
  // What makes the file a result, by offset: of phrases and NEAR only the words that take part.
  std::vector<Mark> marks(const std::vector<WordHit>& hits, WordRange range = {}) const;

 private:
  // A text that a word of the query is found as: its own, or one with accents.
  struct Literal {
    std::string text;
    uint32_t word;
  };
  // A word of the text.
  struct Place {
    uint32_t ordinal;
    size_t begin;
    size_t end;
  };

  class Gatherer;

  void addWord(uint32_t number);
  void mayStartWith(std::string_view text);
  void findInBytes(std::string_view text, Gatherer& gatherer) const;
  void findInUnicode(std::string_view text, Gatherer& gatherer) const;
  void matchWord(std::string_view folded, const Place& place, std::vector<WordHit>& hits) const;
  void matchSingles(std::string_view text, std::string_view folded, const Place& place,
                    std::vector<WordHit>& hits) const;

  Reader& reader_;
  const Query& query_;
  std::vector<Literal> literals_;     // sorted by text
  std::vector<uint32_t> wildcards_;   // numbers in Query::words
  std::vector<bool> plain_;           // of these: have no accents
  std::vector<uint32_t> singles_;     // numbers in Query::words
  std::array<bool, 256> mayStart_{};  // whether some word can start with the byte
  uint64_t reach_ = 0;                // words between which a leaf looks for what belongs together
};

}  // namespace veska
