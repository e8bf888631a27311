// How texts are cut into words, as the index cuts documents: the words of a query, and those of a
// text with their places.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "api/veskalib.h"

namespace veska {

// What a word is to the index.
enum class WordShape {
  kWord,
  // Of a script without blanks, whose words are the overlapping pairs of the characters of a run.
  kSingle,  // one character: it stands for every word that holds it
  kPair,
};

struct CutWord {
  std::string text;  // folded, in the index's character set; * and ? are wildcards
  WordShape shape = WordShape::kWord;
  bool glued = false;  // overlaps the word before
};

// The words of a query text, or what in it no index word can hold.
struct CutText {
  std::vector<CutWord> words;
  std::string unknown;   // UTF-8: the first such character; empty when there is none
  size_t unknownAt = 0;  // its offset in the text
};

// Cuts UTF-8, in which * and ? count as letters.
using WordCutter = std::function<CutText(std::string_view utf8)>;

// For an index of 8-bit text.
CutText cutBytes(std::string_view utf8);
// For an index of Unicode text.
CutText cutUnicode(CVeskaIndex* index, std::string_view utf8);

// Calls use(word, begin, end, shape) for each word of a text, in its order. word: folded,
// zero-terminated, gone after the call. index: of Unicode text.
template <typename F>
void walkUnicodeWords(CVeskaIndex* index, std::string_view text, bool wildcards, F&& use) {
  using Use = std::remove_reference_t<F>;
  const auto call = [](void* context, const char* word, unsigned long begin, unsigned long end,
                       int shape) {
    const WordShape known = shape == VESKA_PAIR     ? WordShape::kPair
                            : shape == VESKA_SINGLE ? WordShape::kSingle
                                                    : WordShape::kWord;
    (*static_cast<Use*>(context))(word, begin, end, known);
  };
  vidxWalkWords(index, text.data(), text.size(), wildcards, call,
                const_cast<std::remove_const_t<Use>*>(&use));
}

}  // namespace veska
