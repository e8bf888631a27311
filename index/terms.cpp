// Wildcard terms. Once a later star is reached, the places of an earlier one need not be tried
// again: the later star would only find less of the word before it.

#include "analyzers/unicode/characters.h"
#include "index/index.h"

namespace {

// How texts are read: byte by byte, each as it is, ...
struct Bytes {
  static bool equal(const char* word, const char* term) { return *word == *term; }
  static const char* next(const char* at) { return at + 1; }
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

 private:
  static char foldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 0x20) : c; }
};

template <typename Text>
class TermMatcher {
 public:
  TermMatcher(bool star, bool question) : star_(star), question_(question) {}

  bool matches(const char* word, const char* term) const {
    const char* afterStar = nullptr;
    const char* retry = nullptr;
    for (;;) {
      while (*word && *term && !isStar(*term) && (isQuestion(*term) || Text::equal(word, term))) {
        word = Text::next(word);
        term = Text::next(term);
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
      while (*retry && !Text::equal(retry, afterStar)) retry = Text::next(retry);
      if (!*retry) return false;
      word = retry;
      retry = Text::next(retry);
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
  const auto isWordByte = [this](unsigned char c) {
    return validCharMask[c] || validTrailingMask[c];
  };
  const bool star = !isWordByte('*');
  const bool question = !isWordByte('?');
  return unicode ? TermMatcher<Characters>(star, question).matches(word, term)
                 : TermMatcher<Bytes>(star, question).matches(word, term);
}
