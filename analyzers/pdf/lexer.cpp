#include "analyzers/pdf/lexer.h"

#include <array>

namespace veska::pdf {
namespace {

enum Class : uint8_t { kRegular, kSpace, kDelimiter };

constexpr std::array<uint8_t, 256> kClasses = [] {
  std::array<uint8_t, 256> classes{};
  for (size_t c : {0, 9, 10, 12, 13, 32}) classes[c] = kSpace;
  for (char c : {'(', ')', '<', '>', '[', ']', '{', '}', '/', '%'}) {
    classes[static_cast<size_t>(c)] = kDelimiter;
  }
  return classes;
}();

uint8_t classOf(char c) { return kClasses[static_cast<unsigned char>(c)]; }

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                              1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};
constexpr int kMaxFraction = 18;

}  // namespace

bool isWhiteSpace(char c) { return classOf(c) == kSpace; }
bool isDelimiter(char c) { return classOf(c) == kDelimiter; }

// Stands at the next byte of a token afterwards. Result: false at the end.
bool Lexer::skipSpace() {
  const char* const bytes = input_.data();
  const uint64_t size = input_.size();
  while (position_ < size) {
    const char c = bytes[position_];
    if (classOf(c) == kSpace) {
      ++position_;
    } else if (c == '%') {
      while (position_ < size && bytes[position_] != '\r' && bytes[position_] != '\n') ++position_;
    } else {
      return true;
    }
  }
  touchedEnd_ = true;
  return false;
}

Token Lexer::next() {
  while (skipSpace()) {
    const char c = input_[position_];
    const char after = position_ + 1 < input_.size() ? input_[position_ + 1] : '\0';
    switch (c) {
      case '(':
        return literalString();
      case '/':
        return name();
      case '[':
        ++position_;
        return {.kind = Token::Kind::kArrayBegin};
      case ']':
        ++position_;
        return {.kind = Token::Kind::kArrayEnd};
      case '<':
        if (after != '<') return hexString();
        position_ += 2;
        return {.kind = Token::Kind::kDictionaryBegin};
      case '>':
        position_ += after == '>' ? 2 : 1;
        if (after == '>') return {.kind = Token::Kind::kDictionaryEnd};
        break;
      case ')':
      case '{':
      case '}':
        ++position_;
        break;
      default:
        if (isDigit(c) || c == '-' || c == '+' || c == '.') return number();
        return keyword();
    }
  }
  return {};
}

// Lenient as the programs that write numbers are careless: signs may repeat, and a sign in the
// middle ends the value ("12-34" is 12).
Token Lexer::number() {
  const char* const bytes = input_.data();
  const uint64_t size = input_.size();
  const uint64_t begin = position_;
  uint64_t at = begin;
  bool negative = false;
  while (at < size && (bytes[at] == '-' || bytes[at] == '+')) negative |= bytes[at++] == '-';
  uint64_t mantissa = 0;
  int digits = 0, fraction = 0, dropped = 0;
  bool point = false;
  for (; at < size; ++at) {
    const char c = bytes[at];
    if (isDigit(c)) {
      ++digits;
      if (mantissa < 100000000000000000u && fraction < kMaxFraction) {
        mantissa = mantissa * 10 + static_cast<uint64_t>(c - '0');
        fraction += point;
      } else {
        dropped += !point;
      }
    } else if (c == '.' && !point) {
      point = true;
    } else {
      break;
    }
  }
  while (at < size && classOf(bytes[at]) == kRegular &&
         (bytes[at] == '-' || bytes[at] == '.' || (at > begin && isDigit(bytes[at]))))
    ++at;
  if (at == size) touchedEnd_ = true;
  const bool ends = at == size || classOf(bytes[at]) != kRegular;
  if (digits == 0 && !point && !ends) return keyword();
  position_ = at;
  double value = static_cast<double>(mantissa) / kPowers[fraction];
  if (dropped > 0) value *= dropped < 19 ? kPowers[dropped] : 1e18;
  return {.kind = point ? Token::Kind::kReal : Token::Kind::kInteger,
          .at = begin,
          .number = negative ? -value : value};
}

Token Lexer::decodedText(Token::Kind kind, uint64_t begin) const {
  return {.kind = kind,
          .decoded = true,
          .length = static_cast<uint32_t>(decoded_.size() - begin),
          .at = begin};
}

Token Lexer::literalString() {
  const char* const bytes = input_.data();
  const uint64_t size = input_.size();
  const uint64_t begin = ++position_;
  uint64_t at = begin;
  while (at < size && bytes[at] != ')' && bytes[at] != '(' && bytes[at] != '\\' &&
         bytes[at] != '\r')
    ++at;
  if (at < size && bytes[at] == ')') {  // nothing to decode
    position_ = at + 1;
    return {.kind = Token::Kind::kString, .length = static_cast<uint32_t>(at - begin), .at = begin};
  }
  const uint64_t start = decoded_.size();
  decoded_.append(bytes + begin, at - begin);
  position_ = at;
  for (int depth = 1; position_ < size;) {
    const char c = bytes[position_++];
    if (c == '\\') {
      escape();
      continue;
    }
    if (c == '(') ++depth;
    if (c == ')' && --depth == 0) return decodedText(Token::Kind::kString, start);
    if (c == '\r') {  // any line end reads as one line feed
      decoded_ += '\n';
      if (position_ < size && bytes[position_] == '\n') ++position_;
      continue;
    }
    decoded_ += c;
  }
  touchedEnd_ = true;
  return decodedText(Token::Kind::kString, start);
}

// Appends what the escape sequence after a backslash stands for.
void Lexer::escape() {
  if (position_ >= input_.size()) return;
  const char c = input_[position_++];
  switch (c) {
    case 'n':
      decoded_ += '\n';
      return;
    case 'r':
      decoded_ += '\r';
      return;
    case 't':
      decoded_ += '\t';
      return;
    case 'b':
      decoded_ += '\b';
      return;
    case 'f':
      decoded_ += '\f';
      return;
    case '\n':
      return;
    case '\r':
      if (position_ < input_.size() && input_[position_] == '\n') ++position_;
      return;
    default:
      break;
  }
  if (c < '0' || c > '7') {
    decoded_ += c;
    return;
  }
  int code = c - '0';
  for (int i = 0; i < 2 && position_ < input_.size(); ++i) {
    const char digit = input_[position_];
    if (digit < '0' || digit > '7') break;
    code = code * 8 + (digit - '0');
    ++position_;
  }
  decoded_ += static_cast<char>(code & 0xFF);
}

Token Lexer::hexString() {
  ++position_;
  const uint64_t start = decoded_.size();
  int high = -1;
  bool closed = false;
  while (position_ < input_.size() && !closed) {
    const char c = input_[position_++];
    const int digit = hexDigit(c);
    if (digit >= 0 && high >= 0) {
      decoded_ += static_cast<char>(high << 4 | digit);
      high = -1;
    } else if (digit >= 0) {
      high = digit;
    }
    closed = c == '>';
  }
  if (!closed) touchedEnd_ = true;
  if (high >= 0) decoded_ += static_cast<char>(high << 4);
  return decodedText(Token::Kind::kString, start);
}

Token Lexer::name() {
  const uint64_t begin = ++position_;
  bool escaped = false;
  while (position_ < input_.size() && classOf(input_[position_]) == kRegular) {
    escaped |= input_[position_++] == '#';
  }
  if (position_ == input_.size()) touchedEnd_ = true;
  const std::string_view raw = input_.substr(begin, position_ - begin);
  if (!escaped) {
    return {.kind = Token::Kind::kName, .length = static_cast<uint32_t>(raw.size()), .at = begin};
  }
  const uint64_t start = decoded_.size();
  for (size_t i = 0; i < raw.size(); ++i) {
    const int high = raw[i] == '#' && i + 2 < raw.size() ? hexDigit(raw[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(raw[i + 2]) : -1;
    if (low >= 0) {
      decoded_ += static_cast<char>(high << 4 | low);
      i += 2;
    } else {
      decoded_ += raw[i];
    }
  }
  return decodedText(Token::Kind::kName, start);
}

Token Lexer::keyword() {
  const uint64_t begin = position_;
  while (position_ < input_.size() && classOf(input_[position_]) == kRegular) ++position_;
  if (position_ == input_.size()) touchedEnd_ = true;
  return {.kind = Token::Kind::kKeyword,
          .length = static_cast<uint32_t>(position_ - begin),
          .at = begin};
}

}  // namespace veska::pdf
