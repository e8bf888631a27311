// Character sets: which one bytes are in, and their conversion to valid UTF-8, piece by piece.
//
// Which one: a byte order mark decides; then text that is UTF-16 by its shape (every other byte
// mostly 0); then bytes that are valid UTF-8; then what the document declares; then UTF-8 but for
// stray bytes; else Windows-1252.

#ifndef VESKA_ANALYZERS_UNICODE_CHARSET_H_
#define VESKA_ANALYZERS_UNICODE_CHARSET_H_

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Bytes at the beginning of text that are valid UTF-8; all of them when the text is. A character
// that the end cuts is not counted. Checked as the Unicode Standard asks (table 3-7): no overlong
// forms, no surrogates, nothing above U+10FFFF.
size_t validUtf8Prefix(std::string_view text);

// Is text valid UTF-8, but for a character that its end may cut?
bool looksLikeUtf8(std::string_view text);

// Does text hold what no text of any character set holds: zeros that no UTF-16 explains, or many
// control characters?
bool looksBinary(std::string_view head);

// Appends the character.
void appendUtf8(std::string& to, char32_t character);

// The name of the character set of a document that begins with head: "UTF-8", "UTF-16LE",
// "UTF-16BE", the declared one if iconv knows it, or "WINDOWS-1252". markBytes: where not null, set
// to the length of the byte order mark, 0 when there is none.
std::string chooseCharset(std::string_view head, std::string_view declared,
                          size_t* markBytes = nullptr);

// Converts pieces of text to UTF-8. What is invalid becomes U+FFFD; a character that a piece's end
// cuts is finished by the next one.
class Decoder {
 public:
  // charset: any name that iconv knows; besides "macroman" and "dosoem". One that is unknown, or
  // cannot be told to be harmless, stands for Windows-1252. UTF-8 is checked here and never copied
  // when it is valid.
  explicit Decoder(std::string_view charset);
  ~Decoder();
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // Result: the characters that end in this piece, valid UTF-8, until the next call. bytes: as the
  // result, so it must last as long. last: nothing follows; what is cut becomes U+FFFD.
  std::string_view decode(std::string_view bytes, bool last);

  class Converter;

 private:
  std::unique_ptr<Converter> converter_;
};

// The whole of a short text.
std::string decodeAll(std::string_view bytes, std::string_view charset);

// Pushes input, text in a character set, into sink, without any other change. Result: kDone,
// kStopped.
Outcome deliverDecoded(ByteInput& input, std::string_view charset, TextSink& sink);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_CHARSET_H_
