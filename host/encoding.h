// Characters at the edge of the program. The terminal speaks UTF-8; the index holds words in
// Windows-1252, folded to lower case; file names are bytes, as the file system has them; and the
// text of documents is whatever their authors wrote, mostly one of the first two. Everything that
// crosses between these goes through here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace veska {

// One character of a UTF-8 text.
struct DecodedChar {
  char32_t code;   // meaningless when !valid
  unsigned bytes;  // how many bytes it takes; 1 when !valid; 0 at the end of the text
  bool valid;      // well-formed (RFC 3629: shortest form, no surrogates, at most U+10FFFF)
};

DecodedChar decodeUtf8(std::string_view text, size_t at);
void appendUtf8(std::string& out, char32_t code);
bool isUtf8(std::string_view text);

// The Windows-1252 byte of a character, -1 when there is none. With `closest`, a Latin letter that
// is not in the code page gives the one that it is built on (ł: l), if there is one.
int windows1252Of(char32_t code, bool closest);
// The character of a Windows-1252 byte; U+FFFD for the five bytes without one.
char32_t characterOf(unsigned char byte);

// A query as the index would hold it, not yet folded.
struct Encoded {
  std::string text;      // Windows-1252
  std::string unknown;   // UTF-8: the first character that has no equivalent, empty if all have
  size_t unknownAt = 0;  // its offset in the UTF-8 text
  bool approximated = false;  // some letter became the closest one
};

// Letters followed by combining accents are composed first. Bytes that are not UTF-8 are taken as
// Windows-1252 already, which is what such a terminal means.
Encoded encodeQuery(std::string_view utf8);

// Text from a document or a word of the index as UTF-8 that is always well-formed: sequences that
// are UTF-8 stay, other bytes are read as Windows-1252.
std::string toUtf8(std::string_view text);

// A character for people to read: controls (also those above U+007F) and marks that change the
// direction of the text around them become U+FFFD.
void appendPrintable(std::string& out, char32_t code);

// Text of a document or a word of the index as UTF-8 (toUtf8()) of such characters.
std::string printableText(std::string_view text);

// The number of characters of a UTF-8 text.
size_t characterCount(std::string_view utf8);
// The columns that a character takes in a terminal: 0, 1 or 2.
size_t columnsOf(char32_t code);
// The same of a text; bytes that are not UTF-8 take one each.
size_t columnCount(std::string_view text);

// Lower case as the engine folds it. Deliberate: 0xC0 stays as it is.
constexpr std::array<unsigned char, 256> makeFoldTable() {
  std::array<unsigned char, 256> table{};
  for (unsigned byte = 0; byte < 256; ++byte) table[byte] = static_cast<unsigned char>(byte);
  for (unsigned byte = 'A'; byte <= 'Z'; ++byte) {
    table[byte] = static_cast<unsigned char>(byte + 0x20);
  }
  for (unsigned byte = 0xC1; byte <= 0xDE; ++byte) {
    table[byte] = static_cast<unsigned char>(byte + 0x20);
  }
  for (unsigned byte = 0x8A; byte <= 0x8F; ++byte) {
    table[byte] = static_cast<unsigned char>(byte + 0x10);
  }
  table[0xA3] = 0xB3;
  table[0xA5] = 0xB9;
  table[0xAF] = 0xBF;
  return table;
}
inline constexpr std::array<unsigned char, 256> kFold = makeFoldTable();

inline char foldByte(char byte) {
  return static_cast<char>(kFold[static_cast<unsigned char>(byte)]);
}
void fold(std::string& text);

// Bytes that make up words: letters and digits of Windows-1252. The session sets
// the engine's character classes from this, so that queries are split as documents are.
constexpr bool isWordByte(unsigned char byte) {
  if (byte < 0x80) {
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
           (byte >= 'A' && byte <= 'Z');
  }
  switch (byte) {
    case 0x83:
    case 0x8A:
    case 0x8C:
    case 0x8E:
    case 0x9A:
    case 0x9C:
    case 0x9E:
    case 0x9F:
    case 0xAA:
    case 0xB5:
    case 0xBA:
      return true;
    default:
      return byte >= 0xC0 && byte != 0xD7 && byte != 0xF7;
  }
}

}  // namespace veska
