// A query text as a sequence of words, phrases, operators and parentheses.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace veska {

enum class TokenKind { kEnd, kOpen, kClose, kOr, kAnd, kNot, kNear, kWord, kPhrase };

struct Token {
  TokenKind kind = TokenKind::kEnd;
  size_t at = 0;          // where it begins in the query, bytes
  std::string_view text;  // kWord, kPhrase: without the quotation marks
  size_t textAt = 0;
  unsigned distance = 0;  // kNear
  std::string error{};    // what is wrong with it; empty when all is well
};

class TokenReader {
 public:
  explicit TokenReader(std::string_view text) : text_(text) {}

  Token next();  // kEnd again and again after the last one
  // For looking ahead.
  size_t place() const { return at_; }
  void goBack(size_t place) { at_ = place; }

 private:
  size_t hyphens() const;
  Token quotedPhrase(size_t mark);
  Token wordOrOperator();

  std::string_view text_;
  size_t at_ = 0;
};

}  // namespace veska
