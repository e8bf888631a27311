// Cuts bytes into the tokens that objects, content streams and CMaps are written in
// (ISO 32000-1, 7.2 and 7.3). Never reads outside the bytes it was given, never fails: what is no
// token is passed over.

#ifndef VESKA_ANALYZERS_PDF_LEXER_H_
#define VESKA_ANALYZERS_PDF_LEXER_H_

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace veska::pdf {

struct Token {
  enum class Kind : uint8_t {
    kEnd,
    kInteger,
    kReal,
    kString,  // literal or hexadecimal, decoded
    kName,    // without the slash, decoded
    kKeyword,
    kArrayBegin,
    kArrayEnd,
    kDictionaryBegin,
    kDictionaryEnd,
  };

  bool is(Kind wanted) const { return kind == wanted; }
  bool isNumber() const { return kind == Kind::kInteger || kind == Kind::kReal; }
  // The number as an offset or a count: whole, from 0 to 4e18, whatever the file says.
  uint64_t whole() const { return static_cast<uint64_t>(std::clamp(number, 0.0, 4e18)); }

  Kind kind = Kind::kEnd;
  bool decoded = false;  // the text is in the lexer's own buffer, not in the input
  uint32_t length = 0;   // of the text
  uint64_t at = 0;       // where the text begins
  double number = 0;     // value of a number, integers up to 2^53 exactly
};

bool isWhiteSpace(char c);
bool isDelimiter(char c);

class Lexer {
 public:
  explicit Lexer(std::string_view input) : input_(input) {}

  Token next();

  // Text of a string, name or keyword. Valid until forget() or, for decoded text, the next token.
  std::string_view text(const Token& token) const {
    return (token.decoded ? std::string_view(decoded_) : input_).substr(token.at, token.length);
  }

  // Gives up the decoded texts of the tokens so far.
  void forget() { decoded_.clear(); }

  uint64_t position() const { return position_; }
  void seek(uint64_t position) { position_ = position < input_.size() ? position : input_.size(); }
  bool atEnd() const { return position_ >= input_.size(); }
  // Whether a token ran up to the end of the input, where more input could have made it longer.
  bool touchedEnd() const { return touchedEnd_; }
  std::string_view input() const { return input_; }

 private:
  bool skipSpace();
  Token number();
  Token literalString();
  Token hexString();
  Token name();
  Token keyword();
  Token decodedText(Token::Kind kind, uint64_t begin) const;
  void escape();

  std::string_view input_;
  uint64_t position_ = 0;
  std::string decoded_;
  bool touchedEnd_ = false;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_LEXER_H_
