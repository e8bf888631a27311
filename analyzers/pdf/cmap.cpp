#include "analyzers/pdf/cmap.h"

#include <algorithm>
#include <string>

namespace veska::pdf {
namespace {

using Kind = Token::Kind;

constexpr size_t kMaxCodeSpaces = 256;
constexpr uint32_t kMaxRange = 0xFFFF;  // codes that one range may cover

uint32_t numberOf(std::string_view bytes) {
  uint32_t value = 0;
  for (const char c : bytes.substr(0, 4)) value = value << 8 | static_cast<unsigned char>(c);
  return value;
}

bool ends(const Lexer& lexer, const Token& token) {
  return token.is(Kind::kEnd) || (token.is(Kind::kKeyword) && lexer.text(token).starts_with("end"));
}

std::u32string textOf(const Lexer& lexer, const Token& token) {
  if (!token.is(Kind::kString)) return {};
  const std::string_view bytes = lexer.text(token).substr(0, 2 * TextMap::kMaxLength);
  if (bytes.size() == 1) return {static_cast<char32_t>(static_cast<unsigned char>(bytes[0]))};
  return decodeUtf16(bytes);
}

}  // namespace

std::u32string decodeUtf16(std::string_view bytes) {
  std::u32string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const char32_t unit = numberOf(bytes.substr(i, 2));
    if (unit < 0xD800 || unit > 0xDFFF) {
      text += unit;
    } else if (unit < 0xDC00 && i + 3 < bytes.size()) {
      const char32_t low = numberOf(bytes.substr(i + 2, 2));
      if (low < 0xDC00 || low > 0xDFFF) continue;
      text += 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
  }
  return text;
}

CMap CMap::parse(std::string_view data, Budget& budget) {
  CMap map;
  Lexer lexer(data);
  bool writingMode = false;
  while (budget.takeSteps(2)) {
    const Token token = lexer.next();
    if (token.is(Kind::kEnd)) break;
    if (writingMode && token.isNumber()) map.vertical_ = token.number == 1;
    const std::string_view word = lexer.text(token);
    writingMode = token.is(Kind::kName) && word == "WMode";
    if (token.is(Kind::kKeyword)) {
      if (word == "begincodespacerange") map.readCodeSpaces(lexer, budget);
      if (word == "beginbfchar") map.readTextChars(lexer, budget);
      if (word == "beginbfrange") map.readTextRanges(lexer, budget);
      if (word == "begincidchar") map.readCids(lexer, false, budget);
      if (word == "begincidrange") map.readCids(lexer, true, budget);
    }
    lexer.forget();
  }
  std::stable_sort(map.cids_.begin(), map.cids_.end(),
                   [](const CidRange& a, const CidRange& b) { return a.low < b.low; });
  return map;
}

void CMap::readCodeSpaces(Lexer& lexer, Budget& budget) {
  while (budget.takeSteps(4)) {
    const Token low = lexer.next();
    if (ends(lexer, low)) return;
    const Token high = lexer.next();
    if (low.is(Kind::kString) && high.is(Kind::kString) && low.length >= 1 && low.length <= 4 &&
        spaces_.size() < kMaxCodeSpaces) {
      spaces_.push_back({low.length, numberOf(lexer.text(low)), numberOf(lexer.text(high))});
    }
    lexer.forget();
  }
}

void CMap::readTextChars(Lexer& lexer, Budget& budget) {
  while (budget.takeSteps(8)) {
    const Token code = lexer.next();
    if (ends(lexer, code)) return;
    const Token text = lexer.next();
    if (ends(lexer, text)) return;
    if (code.is(Kind::kString)) text_.set(numberOf(lexer.text(code)), textOf(lexer, text));
    lexer.forget();
  }
}

void CMap::readTextRanges(Lexer& lexer, Budget& budget) {
  while (budget.takeSteps(8)) {
    const Token low = lexer.next();
    if (ends(lexer, low)) return;
    const Token high = lexer.next();
    Token text = lexer.next();
    if (ends(lexer, high) || ends(lexer, text)) return;
    const uint32_t first = numberOf(lexer.text(low));
    const uint32_t last = std::min(numberOf(lexer.text(high)), first + std::min(kMaxRange, ~first));
    if (text.is(Kind::kArrayBegin)) {
      for (uint32_t code = first;; ++code) {
        text = lexer.next();
        if (text.is(Kind::kArrayEnd) || ends(lexer, text) || !budget.takeSteps(4)) break;
        if (code >= first && code <= last) text_.set(code, textOf(lexer, text));
      }
    } else if (std::u32string value = textOf(lexer, text); !value.empty() && first <= last) {
      if (!budget.takeSteps(last - first)) return;
      for (uint32_t code = first;; ++code, ++value.back()) {
        text_.set(code, value);
        if (code == last) break;
      }
    }
    lexer.forget();
  }
}

void CMap::readCids(Lexer& lexer, bool ranges, Budget& budget) {
  while (budget.takeSteps(8)) {
    const Token low = lexer.next();
    if (ends(lexer, low)) return;
    const Token high = ranges ? lexer.next() : low;
    const Token cid = lexer.next();
    if (ends(lexer, cid)) return;
    if (low.is(Kind::kString) && high.is(Kind::kString) && cid.isNumber() && cid.number >= 0 &&
        cid.number <= 0xFFFF) {
      cids_.push_back({numberOf(lexer.text(low)), numberOf(lexer.text(high)),
                       static_cast<uint32_t>(cid.number)});
    }
    lexer.forget();
  }
}

CMap CMap::predefined(std::string_view name) {
  CMap map;
  map.vertical_ = name.ends_with("-V") || name == "V";
  const auto contains = [name](std::string_view part) {
    return name.find(part) != std::string_view::npos;
  };
  if (contains("UCS2") || contains("UTF16")) map.form_ = Form::kUtf16;
  if (contains("UTF8")) map.form_ = Form::kUtf8;
  if (contains("UTF32")) map.form_ = Form::kUtf32;
  return map;
}

bool CMap::fits(const CodeSpace& space, uint32_t code) const {
  for (size_t i = 0; i < space.bytes; ++i) {
    const uint32_t byte = code >> (8 * i) & 0xFF;
    if (byte < (space.low >> (8 * i) & 0xFF) || byte > (space.high >> (8 * i) & 0xFF)) return false;
  }
  return true;
}

uint32_t CMap::nextCode(std::string_view& text, size_t& codeBytes) const {
  const auto first = static_cast<unsigned char>(text[0]);
  codeBytes = 2;
  if (form_ == Form::kUtf32) codeBytes = 4;
  if (form_ == Form::kUtf8) codeBytes = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (form_ == Form::kUtf16 && first >= 0xD8 && first < 0xDC) codeBytes = 4;
  if (!spaces_.empty()) {
    codeBytes = spaces_.front().bytes;  // for a code that fits nowhere
    for (size_t bytes = 1; bytes <= std::min<size_t>(4, text.size()); ++bytes) {
      const uint32_t code = numberOf(text.substr(0, bytes));
      const bool found = std::any_of(spaces_.begin(), spaces_.end(), [&](const CodeSpace& space) {
        return space.bytes == bytes && fits(space, code);
      });
      if (!found) continue;
      codeBytes = bytes;
      break;
    }
  }
  codeBytes = std::min(codeBytes, text.size());
  const uint32_t code = numberOf(text.substr(0, codeBytes));
  text.remove_prefix(codeBytes);
  return code;
}

char32_t CMap::unicodeOf(uint32_t code, size_t codeBytes) const {
  switch (form_) {
    case Form::kListed:
      return 0;
    case Form::kUtf32:
      return code <= 0x10FFFF ? code : 0;
    case Form::kUtf16:
      if (codeBytes < 4) return code >= 0xD800 && code <= 0xDFFF ? 0 : code;
      return 0x10000 + ((code >> 16 & 0x3FF) << 10) + (code & 0x3FF);
    case Form::kUtf8:
      if (codeBytes == 1) return code;
      if (codeBytes == 2) return (code >> 8 & 0x1F) << 6 | (code & 0x3F);
      if (codeBytes == 3) return (code >> 16 & 0xF) << 12 | (code >> 8 & 0x3F) << 6 | (code & 0x3F);
      return (code >> 24 & 7) << 18 | (code >> 16 & 0x3F) << 12 | (code >> 8 & 0x3F) << 6 |
             (code & 0x3F);
  }
  return 0;
}

uint32_t CMap::cidOf(uint32_t code) const {
  if (cids_.empty()) return code;
  auto after = std::upper_bound(cids_.begin(), cids_.end(), code,
                                [](uint32_t wanted, const CidRange& r) { return wanted < r.low; });
  if (after == cids_.begin()) return 0;
  const CidRange& range = *std::prev(after);
  return code <= range.high ? range.cid + (code - range.low) : 0;
}

}  // namespace veska::pdf
