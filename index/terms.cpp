// Wildcard terms. As with name patterns (index/patterns.cpp), what a star does for a place in the
// word depends only on whether the last place where the rest of the term matches lies behind it; so
// the stars are worked out from the last to the first.

#include <cstring>

#include "index/index.h"

namespace {

class TermMatcher {
 public:
  TermMatcher(bool star, bool question) : star_(star), question_(question) {}

  bool matches(const char* word, const char* term) const {
    const Stop stop = compareLiterals(word, term);
    if (!atStar(stop)) return endsWell(stop);
    const char* const wordEnd = stop.word + std::strlen(stop.word);
    Star star{};
    for (const char* at = term + std::strlen(term); at != stop.term;)
      if (isStar(*--at)) star = evaluateStar(stop.word, wordEnd, at + 1, star);
    return star.satisfies(stop.word);
  }

 private:
  // The last place from which the term behind the star matches; any, for a star at the term's end.
  struct Star {
    const char* last = nullptr;
    bool any = false;

    bool satisfies(const char* at) const { return any || (last && at <= last); }
  };

  // Where the comparison character by character stopped.
  struct Stop {
    const char* word;
    const char* term;
  };

  bool isStar(char c) const { return star_ && c == '*'; }
  bool isQuestion(char c) const { return question_ && c == '?'; }
  bool atStar(const Stop& stop) const { return *stop.word && isStar(*stop.term); }

  Stop compareLiterals(const char* word, const char* term) const {
    while (*word && *term && !isStar(*term) && (isQuestion(*term) || *word == *term)) {
      ++word;
      ++term;
    }
    return {word, term};
  }

  // Deliberate: a trailing "?" may match nothing.
  bool endsWell(Stop stop) const {
    while (isStar(*stop.term) || isQuestion(*stop.term)) ++stop.term;
    return *stop.term == 0 && *stop.word == 0;
  }

  // rest: behind the star; its first character is compared as it is, even when it is a wildcard.
  Star evaluateStar(const char* word, const char* wordEnd, const char* rest,
                    const Star& next) const {
    if (*rest == 0) return {nullptr, true};
    for (const char* at = wordEnd; at != word;) {
      if (*--at != *rest) continue;
      const Stop stop = compareLiterals(at, rest);
      if (atStar(stop) ? next.satisfies(stop.word) : endsWell(stop)) return {at, false};
    }
    return {};
  }

  bool star_;
  bool question_;
};

}  // namespace

bool CVeskaIndex::doesWordMatch(const char* word, const char* term) const {
  const auto isWordByte = [this](unsigned char c) {
    return validCharMask[c] || validTrailingMask[c];
  };
  return TermMatcher(!isWordByte('*'), !isWordByte('?')).matches(word, term);
}
