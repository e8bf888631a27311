#include "host/querytokens.h"

#include <fmt/format.h>

#include <array>

#include "host/query.h"

namespace veska {
namespace {

constexpr std::array<std::string_view, 4> kQuotes = {"\"", "\xE2\x80\x9C", "\xE2\x80\x9D",
                                                     "\xE2\x80\x9E"};  // also typographic ones

// Of a Japanese keyboard.
constexpr std::string_view kWideBlank = "\xE3\x80\x80";

// The bytes of the blank that stands here; 0 when none does.
size_t blankLength(std::string_view text, size_t at) {
  if (static_cast<unsigned char>(text[at]) <= ' ') return 1;
  return text.substr(at, kWideBlank.size()) == kWideBlank ? kWideBlank.size() : 0;
}

size_t quoteLength(std::string_view text, size_t at) {
  for (const std::string_view quote : kQuotes) {
    if (text.substr(at, quote.size()) == quote) return quote.size();
  }
  return 0;
}

// digits: what stands behind "NEAR/".
void readDistance(Token& token, std::string_view digits) {
  unsigned value = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') value = kMaxNear + 1;
    if (value <= kMaxNear) value = value * 10 + static_cast<unsigned>(digit - '0');
  }
  token.distance = value;
  if (value < 1 || value > kMaxNear) {
    token.error = fmt::format("NEAR/ wants a number of words from 1 to {}, as in NEAR/5", kMaxNear);
  }
}

}  // namespace

Token TokenReader::next() {
  while (at_ < text_.size() && blankLength(text_, at_) != 0) at_ += blankLength(text_, at_);
  Token token;
  token.at = at_;
  if (at_ == text_.size()) return token;
  if (text_[at_] == '(' || text_[at_] == ')') {
    token.kind = text_[at_++] == '(' ? TokenKind::kOpen : TokenKind::kClose;
    return token;
  }
  if (const size_t mark = quoteLength(text_, at_); mark != 0) return quotedPhrase(mark);
  if (const size_t count = hyphens(); count != 0) {
    at_ += count;
    token.kind = TokenKind::kNot;
    return token;
  }
  return wordOrOperator();
}

// The hyphens that stand here before a word, phrase or group: together they are one NOT.
size_t TokenReader::hyphens() const {
  size_t end = at_;
  while (end < text_.size() && text_[end] == '-') ++end;
  const bool before = end < text_.size() && blankLength(text_, end) == 0 && text_[end] != ')';
  return before ? end - at_ : 0;
}

Token TokenReader::quotedPhrase(size_t mark) {
  Token token;
  token.kind = TokenKind::kPhrase;
  token.at = at_;
  token.textAt = at_ + mark;
  size_t end = token.textAt;
  while (end < text_.size() && quoteLength(text_, end) == 0) ++end;
  token.text = text_.substr(token.textAt, end - token.textAt);
  if (end == text_.size()) token.error = "this quotation mark has no counterpart";
  at_ = end == text_.size() ? end : end + quoteLength(text_, end);
  return token;
}

Token TokenReader::wordOrOperator() {
  constexpr std::string_view kNearWithNumber = "NEAR/";
  Token token;
  token.kind = TokenKind::kWord;
  token.at = at_;
  token.textAt = at_;
  while (at_ < text_.size() && blankLength(text_, at_) == 0 && text_[at_] != '(' &&
         text_[at_] != ')' && quoteLength(text_, at_) == 0) {
    ++at_;
  }
  token.text = text_.substr(token.at, at_ - token.at);
  if (token.text == "OR") token.kind = TokenKind::kOr;
  if (token.text == "AND") token.kind = TokenKind::kAnd;
  if (token.text == "NOT") token.kind = TokenKind::kNot;
  if (token.text == "NEAR") {
    token.kind = TokenKind::kNear;
    token.distance = kDefaultNear;
  } else if (token.text.starts_with(kNearWithNumber)) {
    token.kind = TokenKind::kNear;
    readDistance(token, token.text.substr(kNearWithNumber.size()));
  }
  return token;
}

}  // namespace veska
