// Simple fonts: one byte a character. What a code says is, in this order: its ToUnicode entry, the
// glyph that /Differences names, the base encoding, the encoding built into the font program.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>

#include "analyzers/pdf/encodings.h"
#include "analyzers/pdf/font.h"
#include "analyzers/pdf/fontprogram.h"
#include "analyzers/pdf/unicode.h"

namespace veska::pdf {
namespace {

// Widths that letters have on average, in parts of the font size.
constexpr double kTypicalWidthOfM = 0.6;
constexpr double kTypicalWidth = 0.5;

struct NumericName {
  char prefix;
  int decimal;  // -1 when the digits are not all decimal
  int hexadecimal;
};

// Names that only number the glyphs: "g65", "a11", "C0041".
std::optional<NumericName> numericName(std::string_view name) {
  size_t at = 0;
  while (at < name.size() && at < 3 && std::isalpha(static_cast<unsigned char>(name[at])) &&
         !(at > 0 && std::isxdigit(static_cast<unsigned char>(name[at])))) {
    ++at;
  }
  const std::string_view digits = name.substr(at);
  if (at == 0 || digits.empty() || digits.size() > 5) return std::nullopt;
  NumericName result{name[0], 0, 0};
  for (const char c : digits) {
    if (!std::isxdigit(static_cast<unsigned char>(c))) return std::nullopt;
    const int digit = c <= '9' ? c - '0' : (c | 32) - 'a' + 10;
    result.hexadecimal = result.hexadecimal * 16 + digit;
    result.decimal = digit > 9 || result.decimal < 0 ? -1 : result.decimal * 10 + digit;
  }
  return result;
}

// TeX's fonts have ligatures where other encodings have control characters.
char32_t textOfCode(int code) {
  if (code >= 11 && code <= 15) return static_cast<char32_t>(0xFB00 + code - 11);
  if (code < 32 || code > 255) return 0;
  return winAnsiEncoding()[static_cast<size_t>(code)];
}

// The WinAnsi code of the character that is as wide as c.
size_t winAnsiCode(char32_t c) {
  constexpr size_t kAcute = 0xB4;
  const EncodingTable& table = winAnsiEncoding();
  for (const char32_t wanted : {c, baseLetter(c)}) {
    const auto place = std::find(table.begin(), table.end(), wanted);
    if (place != table.end()) return static_cast<size_t>(place - table.begin());
  }
  return combiningMark(c) != 0 ? kAcute : 'n';
}

class SimpleFont : public Font {
 public:
  SimpleFont(Document& document, const Dictionary& dictionary)
      : document_(document), dictionary_(dictionary) {
    isType3_ = document.get(dictionary, "Subtype").isName("Type3");
    isTrueType_ = document.get(dictionary, "Subtype").isName("TrueType");
    baseFont_ = document.get(dictionary, "BaseFont");
    descriptor_ = document.get(dictionary, "FontDescriptor");
    readTexts();
    for (uint32_t code = 0; code < 256; ++code) chars_[code].text = texts_[code];
    readWidths();
    if (isType3_) findEmScale();
    chars_[' '].isSpace = true;
  }

  TextChar next(std::string_view& string) const override {
    const TextChar& result = chars_[static_cast<unsigned char>(string[0])];
    string.remove_prefix(1);
    return result;
  }

  size_t memory() const override { return sizeof(*this) + texts_.memory(); }

 private:
  void readTexts();
  void readEncoding(TextMap& named, const EncodingTable*& base);
  void readDifferences(const Array& differences, TextMap& named);
  void readNumericNames(const std::vector<std::pair<uint32_t, std::string>>& names, TextMap& named);
  const FontProgram& program();
  const EncodingTable& defaultEncoding() const;
  void readWidths();
  void useStandardWidths(int64_t flags);
  void findEmScale();

  Document& document_;            // only while loading
  const Dictionary& dictionary_;  // only while loading
  bool isType3_ = false;
  bool isTrueType_ = false;
  Object baseFont_;
  Object descriptor_;
  TextMap texts_;
  std::array<TextChar, 256> chars_;
  std::optional<FontProgram> program_;
  double matrixRatio_ = 1;  // of a Type 3 font's vertical to its horizontal scale
};

void SimpleFont::readTexts() {
  const TextMap toUnicode = readToUnicode(document_, dictionary_);
  TextMap named;
  const EncodingTable* base = nullptr;
  readEncoding(named, base);
  const int64_t first = document_.get(dictionary_, "FirstChar").integer(0);
  const int64_t last = document_.get(dictionary_, "LastChar").integer(255);
  for (uint32_t code = 0; code < 256; ++code) {
    std::u32string_view text = toUnicode[code];
    if (text.empty() || text[0] == 0xFFFD) text = named[code];
    char32_t single = 0;
    if (text.empty() && base) {
      single = (*base)[code];
    } else if (text.empty() && code >= first && code <= last) {
      text = program().byCode[code];
      if (text.empty() && !isType3_) single = defaultEncoding()[code];
    }
    if (single != 0) text = {&single, 1};
    if (!text.empty()) texts_.set(code, std::u32string(text));
  }
}

// base: the encoding that the dictionary names, if it does.
void SimpleFont::readEncoding(TextMap& named, const EncodingTable*& base) {
  const Object encoding = document_.get(dictionary_, "Encoding");
  if (!encoding.name().empty()) base = encodingByName(encoding.name());
  if (!encoding.dictionary()) return;
  base = encodingByName(document_.get(*encoding.dictionary(), "BaseEncoding").name());
  const Object differences = document_.get(*encoding.dictionary(), "Differences");
  if (differences.array()) readDifferences(*differences.array(), named);
}

void SimpleFont::readDifferences(const Array& differences, TextMap& named) {
  std::vector<std::pair<uint32_t, std::string>> unknown;
  int64_t code = 0;
  for (const Object& item : differences) {
    if (!document_.budget().takeSteps(32)) return;
    const Object value = document_.resolve(item);
    if (value.isNumber()) {
      code = value.integer(0);
    } else if (!value.name().empty() && code >= 0 && code < 256) {
      const auto key = static_cast<uint32_t>(code);
      const std::u32string text = textOfGlyphName(value.name());
      named.set(key, text);
      if (text.empty()) unknown.emplace_back(key, value.name());
      ++code;
    }
  }
  readNumericNames(unknown, named);
}

// What is left are numbers: of glyphs, in fonts that have a map for them, or of characters.
void SimpleFont::readNumericNames(const std::vector<std::pair<uint32_t, std::string>>& names,
                                  TextMap& named) {
  const bool hexadecimal = std::any_of(names.begin(), names.end(), [](const auto& entry) {
    const std::optional<NumericName> number = numericName(entry.second);
    return number && number->decimal < 0;
  });
  for (const auto& [code, name] : names) {
    const std::optional<NumericName> number = numericName(name);
    if (!number) continue;
    const int value = hexadecimal ? number->hexadecimal : number->decimal;
    if (number->prefix == 'g' && !isType3_ && value >= 0) {
      const std::u32string text(program().byGlyph[static_cast<uint32_t>(value)]);
      if (!text.empty()) {
        named.set(code, text);
        continue;
      }
    }
    if (const char32_t character = textOfCode(value)) named.set(code, {&character, 1});
  }
}

const FontProgram& SimpleFont::program() {
  if (!program_) {
    const Dictionary* const descriptor = isType3_ ? nullptr : descriptor_.dictionary();
    const std::string file = descriptor ? readFontFile(document_, *descriptor) : std::string();
    program_ = file.empty() ? FontProgram() : readFontProgram(file, document_.budget());
  }
  return *program_;
}

const EncodingTable& SimpleFont::defaultEncoding() const {
  std::string_view name = baseFont_.name();
  if (name.size() > 7 && name[6] == '+') name.remove_prefix(7);
  if (name.starts_with("Symbol")) return symbolEncoding();
  if (name.find("Dingbats") != std::string_view::npos) return zapfDingbatsEncoding();
  return isTrueType_ ? winAnsiEncoding() : standardEncoding();
}

void SimpleFont::readWidths() {
  double scale = 0.001, missing = 0;
  int64_t flags = 0;
  if (isType3_) {
    const Object matrix = document_.get(dictionary_, "FontMatrix");
    if (const Array* items = matrix.array(); items && items->size() >= 4) {
      const double a = document_.resolve((*items)[0]).number(0.001);
      const double d = document_.resolve((*items)[3]).number(0.001);
      if (a != 0) scale = std::fabs(a);
      if (a != 0 && d != 0) matrixRatio_ = std::fabs(d / a);
    }
  } else if (const Dictionary* descriptor = descriptor_.dictionary()) {
    flags = document_.get(*descriptor, "Flags").integer(0);
    missing = document_.get(*descriptor, "MissingWidth").number(0) * scale;
  }
  const Object widths = document_.get(dictionary_, "Widths");
  if (!widths.array()) {
    useStandardWidths(flags);
    return;
  }
  for (TextChar& c : chars_) c.width = missing;
  const int64_t first = document_.get(dictionary_, "FirstChar").integer(0);
  for (size_t i = 0; i < std::min<size_t>(widths.array()->size(), 256); ++i) {
    const int64_t code = first + static_cast<int64_t>(i);
    if (code < 0 || code > 255) continue;
    chars_[static_cast<size_t>(code)].width =
        document_.resolve((*widths.array())[i]).number(0) * scale;
  }
}

void SimpleFont::useStandardWidths(int64_t flags) {
  bool isText = true;
  const uint16_t* const widths = standardWidths(baseFont_.name(), flags, isText);
  for (size_t code = 0; code < 256; ++code) {
    chars_[code].width = 0.6;
    if (!widths) continue;
    size_t index = code;
    // Widths go by character, not by this font's code.
    if (isText && !chars_[code].text.empty()) index = winAnsiCode(chars_[code].text[0]);
    chars_[code].width = index < 32 ? 0 : 0.001 * widths[index - 32];
  }
}

// A Type 3 font may draw its letters at any scale; how wide they are tells how large they are.
void SimpleFont::findEmScale() {
  double width = 0, any = 0, wide = 0;
  for (const TextChar& c : chars_) {
    if (c.text.size() != 1 || c.width <= 0) continue;
    const char32_t letter = c.text[0];
    if (letter == U'm') wide = c.width;
    if (width == 0 && letter < 0x80 && std::isalpha(static_cast<int>(letter))) width = c.width;
    if (any == 0) any = c.width;
  }
  if (wide > 0) {
    emScale_ = wide / kTypicalWidthOfM;
  } else if (width > 0 || any > 0) {
    emScale_ = (width > 0 ? width : any) / kTypicalWidth;
  }
  emScale_ *= matrixRatio_;
}

}  // namespace

std::shared_ptr<const Font> loadSimpleFont(Document& document, const Dictionary& dictionary) {
  return std::make_shared<const SimpleFont>(document, dictionary);
}

}  // namespace veska::pdf
