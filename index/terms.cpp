// Wildcard terms. Once a later star is reached, the places of an earlier one need not be tried
// again: the later star would only find less of the word before it.

#include "index/index.h"

namespace {

class TermMatcher {
 public:
  TermMatcher(bool star, bool question) : star_(star), question_(question) {}

  bool matches(const char* word, const char* term) const {
    const char* afterStar = nullptr;
    const char* retry = nullptr;
    for (;;) {
      while (*word && *term && !isStar(*term) && (isQuestion(*term) || *word == *term)) {
        ++word;
        ++term;
      }
      if (*word && isStar(*term)) {
        if (term[1] == 0) return true;
        afterStar = term + 1;
        retry = word;
      } else if (endsWell(word, term)) {
        return true;
      } else if (!afterStar) {
        return false;
      }
      // The character behind the star is compared as it is, even when it is a wildcard.
      while (*retry && *retry != *afterStar) ++retry;
      if (!*retry) return false;
      word = retry++;
      term = afterStar;
    }
  }

 private:
  bool isStar(char c) const { return star_ && c == '*'; }
  bool isQuestion(char c) const { return question_ && c == '?'; }

  // Deliberate: a trailing "?" may match nothing.
  bool endsWell(const char* word, const char* term) const {
    while (isStar(*term) || isQuestion(*term)) ++term;
    return *term == 0 && *word == 0;
  }

  bool star_;
  bool question_;
};

}  // namespace

bool CVeskaIndex::doesWordMatch(const char* word, const char* term) const {
  const auto isWordByte = [this](unsigned char c) { return validCharMask[c] || validTrailingMask[c]; };
  return TermMatcher(!isWordByte('*'), !isWordByte('?')).matches(word, term);
}
