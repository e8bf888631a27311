#include "analyzers/pdf/encodings.h"

#include <algorithm>
#include <charconv>

namespace veska::pdf {
namespace {

#include "analyzers/pdf/cffstrings.inc"
#include "analyzers/pdf/encodings.inc"
#include "analyzers/pdf/standardwidths.inc"

// Sorted entries "name code;", the code in hexadecimal.
constexpr std::string_view kGlyphNames =
#include "analyzers/pdf/glyphnames.inc"
    ;

constexpr size_t kMaxNameLength = 128;

// Binary search over the text: each probe moves back to the start of the entry that it hit.
char32_t lookUpGlyphName(std::string_view name) {
  size_t low = 0, high = kGlyphNames.size();
  while (low < high) {
    size_t begin = low + (high - low) / 2;
    while (begin > low && kGlyphNames[begin - 1] != ';') --begin;
    const size_t end = kGlyphNames.find(';', begin);
    const std::string_view entry = kGlyphNames.substr(begin, end - begin);
    const size_t space = entry.find(' ');
    const int order = name.compare(entry.substr(0, space));
    if (order == 0) {
      uint32_t code = 0;
      std::from_chars(entry.data() + space + 1, entry.data() + entry.size(), code, 16);
      return code;
    }
    if (order < 0) {
      high = begin;
    } else {
      low = end + 1;
    }
  }
  return 0;
}

bool isHexNumber(std::string_view digits) {
  return !digits.empty() && std::all_of(digits.begin(), digits.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
  });
}

char32_t hexNumber(std::string_view digits) {
  uint32_t code = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
  return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) ? 0 : code;
}

// One component of a name, what stands between "_".
std::u32string textOfComponent(std::string_view name) {
  if (const char32_t code = lookUpGlyphName(name)) return {code};
  std::u32string text;
  if (name.starts_with("uni") && name.size() >= 7 && isHexNumber(name.substr(3))) {
    for (size_t at = 3; at + 4 <= name.size(); at += 4) {
      if (const char32_t code = hexNumber(name.substr(at, 4))) text += code;
    }
  } else if (name.starts_with("u") && name.size() >= 5 && name.size() <= 7 &&
             isHexNumber(name.substr(1))) {
    if (const char32_t code = hexNumber(name.substr(1))) text += code;
  }
  return text;
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

}  // namespace

const EncodingTable& standardEncoding() { return kStandardEncoding; }
const EncodingTable& winAnsiEncoding() { return kWinAnsiEncoding; }
const EncodingTable& symbolEncoding() { return kSymbolEncoding; }
const EncodingTable& zapfDingbatsEncoding() { return kZapfDingbatsEncoding; }
const EncodingTable& pdfDocEncoding() { return kPdfDocEncoding; }

std::span<const uint16_t> cffStandardNames() { return kCffStandardNames; }
std::span<const uint16_t> cffExpertCharset() { return kCffExpertCharset; }
std::span<const uint16_t> cffExpertSubsetCharset() { return kCffExpertSubsetCharset; }

const EncodingTable* encodingByName(std::string_view name) {
  if (name == "WinAnsiEncoding") return &kWinAnsiEncoding;
  if (name == "MacRomanEncoding") return &kMacRomanEncoding;
  if (name == "MacExpertEncoding") return &kMacExpertEncoding;
  if (name == "StandardEncoding") return &kStandardEncoding;
  return nullptr;
}

std::u32string textOfGlyphName(std::string_view name) {
  name = name.substr(0, kMaxNameLength);
  if (const char32_t code = lookUpGlyphName(name)) return {code};
  if (const size_t dot = name.find('.'); dot != std::string_view::npos) name = name.substr(0, dot);
  std::u32string text;
  while (!name.empty()) {
    const size_t end = std::min(name.find('_'), name.size());
    text += textOfComponent(name.substr(0, end));
    name.remove_prefix(std::min(end + 1, name.size()));
  }
  return text;
}

const uint16_t* standardWidths(std::string_view baseFont, int64_t flags, bool& isText) {
  constexpr int64_t kFixedPitch = 1, kSerif = 2, kItalic = 64, kForceBold = 1 << 18;
  if (const size_t plus = baseFont.find('+'); plus == 6) baseFont.remove_prefix(7);
  isText = true;
  const bool bold = contains(baseFont, "Bold") || (flags & kForceBold) != 0;
  const bool italic =
      contains(baseFont, "Italic") || contains(baseFont, "Oblique") || (flags & kItalic) != 0;
  if (baseFont.starts_with("Symbol")) {
    isText = false;
    return kSymbolWidths;
  }
  if (contains(baseFont, "Dingbats")) {
    isText = false;
    return kZapfDingbatsWidths;
  }
  if (contains(baseFont, "Courier") || contains(baseFont, "Mono")) return nullptr;
  const bool sans = contains(baseFont, "Helvetica") || contains(baseFont, "Arial");
  const bool serif = contains(baseFont, "Times") || (!sans && (flags & kSerif) != 0);
  if (!sans && !serif && (flags & kFixedPitch) != 0) return nullptr;
  if (!serif) return bold ? kHelveticaBoldWidths : kHelveticaWidths;
  if (bold) return italic ? kTimesBoldItalicWidths : kTimesBoldWidths;
  return italic ? kTimesItalicWidths : kTimesWidths;
}

}  // namespace veska::pdf
