// Wildcard terms. As with name patterns (index/patterns.cpp), what a star does for a place in the
// word depends only on whether the last place where the rest of the term matches lies behind it; so
// the stars are worked out from the last to the first.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/charset.h"
#include "index/index.h"

namespace {

// How texts are read: byte by byte, each as it is, ...
struct Bytes {
  static bool equal(const char* word, const char* term) { return *word == *term; }
  static const char* next(const char* at) { return at + 1; }
  static bool begins(char) { return true; }
};

// ... or by characters of UTF-8, without regard to case.
struct Characters {
  static veska::unicode::Decoded decode(const char* at) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(at);
    size_t length = 1;
    while (length < 4 && (bytes[length] & 0xC0) == 0x80) ++length;
    return veska::unicode::decodeCharacter(bytes, bytes + length);
  }
  static char32_t folded(const char* at) {
    return veska::unicode::factsOf(decode(at).character).folded();
  }
  static bool equal(const char* word, const char* term) {
    const bool ascii =
        static_cast<unsigned char>(*word) < 0x80 && static_cast<unsigned char>(*term) < 0x80;
    return ascii ? foldAscii(*word) == foldAscii(*term) : folded(word) == folded(term);
  }
  static const char* next(const char* at) { return at + decode(at).bytes; }
  static bool begins(char c) { return (c & 0xC0) != 0x80; }

 private:
  static char foldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }
};

// Each character folded by itself, as Characters compares them.
std::string foldedOneByOne(std::string_view text) {
  std::string folded;
  const auto* at = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = at + text.size();
  while (at != end) {
    const veska::unicode::Decoded next = veska::unicode::decodeCharacter(at, end);
    veska::unicode::appendUtf8(folded, veska::unicode::factsOf(next.character).folded());
    at += next.bytes;
  }
  return folded;
}

template <typename Text>
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
    while (*word && *term && !isStar(*term) && (isQuestion(*term) || Text::equal(word, term))) {
      word = Text::next(word);
      term = Text::next(term);
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
      if (!Text::begins(*--at) || !Text::equal(at, rest)) continue;
      const Stop stop = compareLiterals(at, rest);
      if (atStar(stop) ? next.satisfies(stop.word) : endsWell(stop)) return {at, false};
    }
    return {};
  }

  bool star_;
  bool question_;
};

}  // namespace

bool CVeskaIndex::isWildcard(char c) const {
  const auto byte = static_cast<unsigned char>(c);
  return (c == '*' || c == '?') && !validCharMask[byte] && !validTrailingMask[byte];
}

bool CVeskaIndex::doesWordMatch(const char* word, const char* term) const {
  const bool star = isWildcard('*');
  const bool question = isWildcard('?');
  return unicode ? TermMatcher<Characters>(star, question).matches(word, term)
                 : TermMatcher<Bytes>(star, question).matches(word, term);
}

// The longest stretch without wildcards: a word that matches holds it.
std::string CVeskaIndex::longestLiteral(std::string_view term) const {
  std::string_view longest;
  for (size_t at = 0; at < term.size();) {
    const auto* const from = term.begin() + at;
    const auto* const to = std::find_if(from, term.end(), [this](char c) { return isWildcard(c); });
    const auto length = static_cast<size_t>(to - from);
    if (length > longest.size()) longest = term.substr(at, length);
    at += length + 1;
  }
  return unicode ? foldedOneByOne(longest) : std::string(longest);
}

unsigned long CVeskaIndex::nextMatchingWord(const char* term, unsigned long id) const {
  // Shorter stretches are in so many words that looking at each is faster.
  constexpr size_t kTellingBytes = 3;
  const std::string literal = longestLiteral(term);
  const auto next = [&] {
    if (literal.size() < kTellingBytes) return id ? words->getNext(id) : words->getFirst();
    const char* const text = id ? words->getText(id) : nullptr;
    return words->nextContaining(text ? id + std::strlen(text) : id, literal);
  };
  do id = next();
  while (id && !doesWordMatch(words->getText(id), term));
  return id;
}
