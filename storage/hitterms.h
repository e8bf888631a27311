// The terms of a hit query: what one word of text matches.
//
// A term is matched against a whole word. "?" takes any one byte, and at the end of a term none
// too;
// "*" takes any run of bytes. "*" in front of "*" or "?" takes the rest of the word whatever
// follows. Text is folded, terms are taken as they stand.

#ifndef VESKA_STORAGE_HITTERMS_H_
#define VESKA_STORAGE_HITTERMS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "api/lowercase.h"

// Which bytes make words. A byte that starts words also continues them; zero does neither.
struct WordClasses {
  bool startTable[256] = {};
  bool insideTable[256] = {};

  bool starts(char c) const { return startTable[static_cast<unsigned char>(c)]; }
  bool continues(char c) const { return insideTable[static_cast<unsigned char>(c)]; }
  bool isWildcard(char c) const { return c == '*' || (c == '?' && !continues('?')); }
  bool hasWildcardBytes() const { return continues('*') || continues('?'); }
  bool isTermByte(char c) const { return continues(c) || c == '?' || c == '*'; }
};

// Does the word at text match the term at pattern, which ends at the first byte that no term holds?
// atStart: the first byte must start a word, not just continue one. Both texts are zero-terminated.
// Takes time in proportion to the word's length by the term's.
bool termMatches(const WordClasses& classes, const char* text, const char* pattern, bool atStart);

// Numbers texts in the order in which they are added, equal ones once.
class TextNumbers {
 public:
  static constexpr uint32_t kNone = 0xFFFFFFFF;

  // The bytes outlive the object.
  uint32_t add(std::string_view text);
  // kNone for a text that was not added.
  uint32_t find(std::string_view text) const;

  std::string_view operator[](uint32_t number) const { return texts_[number]; }
  uint32_t size() const { return static_cast<uint32_t>(texts_.size()); }

 private:
  size_t slotOf(std::string_view text) const;
  void grow();

  std::vector<std::string_view> texts_;
  std::vector<uint32_t> slots_;  // open addressing; a power of two, at most half full
};

// The distinct terms of a query, matched together.
class TermSet {
 public:
  // classes outlives the set.
  explicit TermSet(const WordClasses& classes) : classes_(classes) {}

  // Result: the term's number; equal terms have the same. The bytes outlive the set, and a byte
  // that no term holds stands behind them.
  uint32_t add(std::string_view term) { return terms_.add(term); }
  // After the last add.
  void finish();

  uint32_t size() const { return terms_.size(); }
  // Could a word that begins with this byte match?
  bool mayBegin(char c) const { return mayBegin_[static_cast<unsigned char>(c)]; }
  bool hasAutomaton() const { return !numberAtBit_.empty(); }

 private:
  friend class TermMatcher;

  bool fitsAutomaton(std::string_view term) const;
  void addToAutomaton(std::string_view term, uint32_t number);
  void sizeAutomaton();
  size_t literalPrefix(std::string_view term) const;

  const WordClasses& classes_;
  TextNumbers terms_;

  // Terms without wildcards are looked up by the whole word.
  std::vector<bool> isLiteral_;
  std::vector<bool> literalLengths_;

  // Terms with wildcards run in one automaton, up to a size; a bit stands for a position in a term
  // or for its end.
  struct Masks {
    std::vector<uint64_t> first, atEnd, anyByte, restOfWord, run;
    std::vector<uint64_t> byte[256];
  };
  std::vector<std::string_view> automatonTerms_;
  std::vector<uint32_t> numberAtBit_;
  Masks masks_;

  // The others are tried one by one where the word begins with the bytes before their first
  // wildcard.
  TextNumbers prefixes_;
  std::vector<uint32_t> lastWithPrefix_;  // by prefix
  std::vector<uint32_t> samePrefix_;      // by term: another with its prefix
  std::vector<size_t> prefixLengths_;

  bool mayBegin_[256] = {};
};

// Finds the terms that match the words of a text, in runs of word bytes that are read from the last
// byte to the first: so all words that end where a run ends cost one pass.
class TermMatcher {
 public:
  // terms is finished and outlives the matcher.
  explicit TermMatcher(const TermSet& terms);

  // A run that ends in front of runEnd; a zero stands somewhere behind.
  void beginRun(const char* runEnd);
  // The next byte to the left.
  void step(const char* at);
  // Adds the numbers of all terms that match the word from the last byte stepped to up to the run's
  // end.
  void collect(std::vector<uint32_t>& numbers);

 private:
  void collectLiteral(std::vector<uint32_t>& numbers);
  void collectAutomaton(std::vector<uint32_t>& numbers) const;
  void collectByPrefix(std::vector<uint32_t>& numbers);
  void foldWord(size_t bytes);

  const TermSet& terms_;
  const char* at_ = nullptr;
  const char* runEnd_ = nullptr;
  std::vector<uint64_t> state_;
  std::string folded_;
};

#endif  // VESKA_STORAGE_HITTERMS_H_
