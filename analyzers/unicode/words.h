// Where the words of a text in memory are: the same words as the tokenizer's, with their places.

#ifndef VESKA_ANALYZERS_UNICODE_WORDS_H_
#define VESKA_ANALYZERS_UNICODE_WORDS_H_

#include <cstddef>
#include <string_view>

#include "analyzers/unicode/characters.h"

class CVeskaIndex;

namespace veska::unicode {

// A run of characters that words are made of: one word, or, of a script without blanks, its pairs.
struct WordRun {
  size_t begin = 0;
  size_t end = 0;
  bool pairs = false;
};

class WordScanner {
 public:
  // The masks are the index's; it outlives the object. wildcards: "*" and "?" are letters too.
  explicit WordScanner(const CVeskaIndex& index, bool wildcards = false)
      : index_(index), wildcards_(wildcards) {}

  // Is the character one that words may hold, but for what is passed over in them?
  bool continues(char32_t character) const;
  bool starts(char32_t character) const;

  // The first run that begins at from or behind it, where a character begins. Result: false when
  // there is none.
  bool next(std::string_view text, size_t from, WordRun& run) const;

  // The run that begins at from. Result: false when none does.
  bool runAt(std::string_view text, size_t from, WordRun& run) const;

  // The character with its marks at from: its end, at most end.
  static size_t clusterEnd(std::string_view text, size_t from, size_t end);

 private:
  bool isWildcard(char32_t c) const { return wildcards_ && (c == U'*' || c == U'?'); }

  const CVeskaIndex& index_;
  const bool wildcards_;
};

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_WORDS_H_
