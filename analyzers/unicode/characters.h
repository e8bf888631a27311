// What a character is to the Unicode mode, one look-up each: may it stand in a word, what is it
// folded to, is it of a script that is written without blanks?
//
// The facts come from utf8proc (the Unicode Character Database). They are asked for once per block
// of 256 characters, when a text first holds one of them, and kept for the life of the process.

#ifndef VESKA_ANALYZERS_UNICODE_CHARACTERS_H_
#define VESKA_ANALYZERS_UNICODE_CHARACTERS_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace veska::unicode {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLastCharacter = 0x10FFFF;

// 21 bits: what the character is folded to, when it is folded to one; above that, flags.
class CharFacts {
 public:
  static constexpr uint32_t kLetter = 1U << 21;   // letter or digit: begins and continues words
  static constexpr uint32_t kMark = 1U << 22;     // continues words only
  static constexpr uint32_t kPair = 1U << 23;     // a script without blanks; kLetter or kMark too
  static constexpr uint32_t kIgnored = 1U << 24;  // of no width and meaning: passed over in a word
  // The word that holds it is to be normalised as a whole: it folds to several characters, or
  // composes with what stands before it, or changes places with it.
  static constexpr uint32_t kComplex = 1U << 25;

  explicit CharFacts(uint32_t packed) : packed_(packed) {}

  char32_t folded() const { return packed_ & 0x1FFFFF; }
  bool is(uint32_t flags) const { return (packed_ & flags) != 0; }
  bool isWordCharacter() const { return is(kLetter | kMark); }

 private:
  uint32_t packed_;
};

constexpr size_t kCharBlocks = (kLastCharacter + 1) / 256;
extern const uint32_t* charBlocks[kCharBlocks];
const uint32_t* fillCharBlock(size_t block);

// REQUIRES: character up to kLastCharacter.
inline CharFacts factsOf(char32_t character) {
  const uint32_t* block = charBlocks[character >> 8];
  if (block == nullptr) block = fillCharBlock(character >> 8);
  return CharFacts(block[character & 0xFF]);
}

// The character at `at`, and its bytes; U+FFFD of one byte where there is no valid one. Reads none
// from end on. REQUIRES: at != end.
struct Decoded {
  char32_t character;
  unsigned bytes;
};
Decoded decodeCharacter(const unsigned char* at, const unsigned char* end);
inline Decoded decodeAt(std::string_view text, size_t at) {
  const auto* begin = reinterpret_cast<const unsigned char*>(text.data());
  return decodeCharacter(begin + at, begin + text.size());
}

// Writes the character, up to 4 bytes. Result: their count.
inline unsigned encodeCharacter(char32_t c, unsigned char* to) {
  const auto tail = [c](int shift) {
    return static_cast<unsigned char>(0x80 | ((c >> shift) & 0x3F));
  };
  if (c < 0x80) {
    to[0] = static_cast<unsigned char>(c);
    return 1;
  }
  if (c < 0x800) {
    to[0] = static_cast<unsigned char>(0xC0 | (c >> 6));
    to[1] = tail(0);
    return 2;
  }
  if (c < 0x10000) {
    to[0] = static_cast<unsigned char>(0xE0 | (c >> 12));
    to[1] = tail(6);
    to[2] = tail(0);
    return 3;
  }
  to[0] = static_cast<unsigned char>(0xF0 | (c >> 18));
  to[1] = tail(12);
  to[2] = tail(6);
  to[3] = tail(0);
  return 4;
}

// The text in the form in which words are kept: composed (NFC), case-folded, characters of no width
// and meaning left out. Invalid bytes become U+FFFD.
std::u32string foldedCharacters(std::string_view utf8);
std::string foldedText(std::string_view utf8);

// The text composed (NFC), otherwise as it is.
std::string composedText(std::string_view utf8);

// The word without its accents: marks that modify Latin, Greek and Cyrillic letters go, as do the
// points of Hebrew and Arabic; letters with a stroke and the like become the plain letter. Marks
// that are letters to their readers stay: vowel signs, voicing marks, and the breve of the Cyrillic
// short i. The word is taken to be folded.
std::string strippedText(std::string_view word);

// The character as plain ones: the letters of an Arabic or Hebrew presentation form or ligature.
std::string compatibleText(char32_t character);

// Columns that the character takes in a terminal: 0, 1 or 2.
int columnsOf(char32_t character);

// Is a line's end between two such characters no blank? So it is with wide East Asian characters
// other than Hangul.
bool joinsAcrossLines(char32_t character);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_CHARACTERS_H_
