#include "analyzers/pdf/unicode.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace veska::pdf {
namespace {

struct Decomposition {
  uint16_t letter, base, mark;
};

#include "analyzers/pdf/decompositions.inc"

// Code points of the bytes 0x80 to 0x9F.
constexpr char16_t kHighControls[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

struct Replacement {
  char16_t from;
  char to[kMaxWindows1252];  // ends with the first zero
};

// Sorted by code point.
constexpr Replacement kReplacements[] = {
    {0x0110, "D"},
    {0x0111, "d"},
    {0x0126, "H"},
    {0x0127, "h"},
    {0x0131, "i"},
    {0x0132, "IJ"},
    {0x0133, "ij"},
    {0x0138, "k"},
    {0x013F, "L"},
    {0x0140, "l"},
    {0x0141, "L"},
    {0x0142, "l"},
    {0x0149, "n"},
    {0x014A, "N"},
    {0x014B, "n"},
    {0x0166, "T"},
    {0x0167, "t"},
    {0x017F, "s"},
    {0x0180, "b"},
    {0x0189, "D"},
    {0x0197, "I"},
    {0x019A, "l"},
    {0x01C0, "|"},
    {0x01C4, "DZ"},
    {0x01C5, "Dz"},
    {0x01C6, "dz"},
    {0x01C7, "LJ"},
    {0x01C8, "Lj"},
    {0x01C9, "lj"},
    {0x01CA, "NJ"},
    {0x01CB, "Nj"},
    {0x01CC, "nj"},
    {0x01E4, "G"},
    {0x01E5, "g"},
    {0x0237, "j"},
    {0x0259, "e"},
    {0x0261, "g"},
    {0x02B9, "'"},
    {0x02BA, "\""},
    {0x02BB, "'"},
    {0x02BC, "'"},
    {0x02BD, "'"},
    {0x02C8, "'"},
    {0x02C9, "\xAF"},
    {0x02CA, "\xB4"},
    {0x02CB, "`"},
    {0x02D0, ":"},
    {0x037E, ";"},
    {0x03BC, "\xB5"},
    {0x1E9E, "\xDF"},
    {0x2010, "-"},
    {0x2011, "-"},
    {0x2012, "\x96"},
    {0x2015, "\x97"},
    {0x2016, "||"},
    {0x201B, "\x91"},
    {0x201F, "\x93"},
    {0x2024, "."},
    {0x2025, ".."},
    {0x2027, "\xB7"},
    {0x2032, "'"},
    {0x2033, "\""},
    {0x2034, "'''"},
    {0x2035, "`"},
    {0x2036, "\""},
    {0x203C, "!!"},
    {0x2043, "-"},
    {0x2044, "/"},
    {0x2052, "%"},
    {0x2070, "0"},
    {0x2071, "i"},
    {0x2074, "4"},
    {0x2075, "5"},
    {0x2076, "6"},
    {0x2077, "7"},
    {0x2078, "8"},
    {0x2079, "9"},
    {0x207A, "+"},
    {0x207B, "-"},
    {0x207C, "="},
    {0x207D, "("},
    {0x207E, ")"},
    {0x207F, "n"},
    {0x2080, "0"},
    {0x2081, "1"},
    {0x2082, "2"},
    {0x2083, "3"},
    {0x2084, "4"},
    {0x2085, "5"},
    {0x2086, "6"},
    {0x2087, "7"},
    {0x2088, "8"},
    {0x2089, "9"},
    {0x208A, "+"},
    {0x208B, "-"},
    {0x208C, "="},
    {0x208D, "("},
    {0x208E, ")"},
    {0x2100, "a/c"},
    {0x2103,
     "\xB0"
     "C"},
    {0x2109,
     "\xB0"
     "F"},
    {0x210E, "h"},
    {0x2113, "l"},
    {0x2116, "No"},
    {0x2120, "SM"},
    {0x2121, "TEL"},
    {0x2126, "O"},
    {0x212A, "K"},
    {0x212B, "\xC5"},
    {0x2153, "1/3"},
    {0x2154, "2/3"},
    {0x215B, "1/8"},
    {0x215C, "3/8"},
    {0x215D, "5/8"},
    {0x215E, "7/8"},
    {0x2212, "-"},
    {0x2215, "/"},
    {0x2216, "\\"},
    {0x2217, "*"},
    {0x2219, "\xB7"},
    {0x2223, "|"},
    {0x2225, "||"},
    {0x2236, ":"},
    {0x223C, "~"},
    {0x22C5, "\xB7"},
    {0x3001, ","},
    {0x3002, "."},
    {0x3008, "<"},
    {0x3009, ">"},
    {0x300A, "\xAB"},
    {0x300B, "\xBB"},
    {0xFB00, "ff"},
    {0xFB01, "fi"},
    {0xFB02, "fl"},
    {0xFB03, "ffi"},
    {0xFB04, "ffl"},
    {0xFB05, "st"},
    {0xFB06, "st"},
};

// Accents that stand by themselves, and the marks that do not.
constexpr char16_t kAccents[][2] = {
    {0x005E, 0x0302}, {0x0060, 0x0300}, {0x00A8, 0x0308}, {0x00AF, 0x0304}, {0x00B4, 0x0301},
    {0x00B8, 0x0327}, {0x02C6, 0x0302}, {0x02C7, 0x030C}, {0x02C9, 0x0304}, {0x02D8, 0x0306},
    {0x02D9, 0x0307}, {0x02DA, 0x030A}, {0x02DB, 0x0328}, {0x02DC, 0x0303}, {0x02DD, 0x030B},
    {0x02CA, 0x0301}, {0x02CB, 0x0300}};

const Decomposition* decompositionOf(char32_t c) {
  if (c < 0xC0 || c > 0x1EFF) return nullptr;
  const auto* const end = std::end(kDecompositions);
  const auto* const found =
      std::lower_bound(std::begin(kDecompositions), end, c,
                       [](const Decomposition& d, char32_t wanted) { return d.letter < wanted; });
  return found != end && found->letter == c ? found : nullptr;
}

size_t write(std::string_view text, char* out) {
  std::copy(text.begin(), text.end(), out);
  return text.size();
}

}  // namespace

bool isBlank(char32_t c) {
  return c <= 0x20 || (c >= 0x7F && c <= 0xA0) || c == 0x1680 || (c >= 0x2000 && c <= 0x200B) ||
         c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000 || c == 0xFEFF;
}

bool isLetter(char32_t c) {
  if (c < 0x80) return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
  if (c < 0x100) return c >= 0xC0 ? c != 0xD7 && c != 0xF7 : c == 0xAA || c == 0xB5 || c == 0xBA;
  return (c < 0x2B0) || (c >= 0x386 && c < 0x590) || (c >= 0x1E00 && c < 0x2000) ||
         (c >= 0xFB00 && c <= 0xFB06);
}

bool isLowerLetter(char32_t c) {
  if (c < 0x80) return c >= 'a' && c <= 'z';
  if (c < 0x100) return c >= 0xDF && c != 0xF7;
  if (c < 0x180) {  // pairs of a capital and its small letter
    const bool smallIsEven = (c >= 0x139 && c <= 0x148) || c >= 0x179;
    return c == 0x17F || ((c & 1) == 0) == smallIsEven;
  }
  if (c >= 0x391 && c < 0x3AC) return false;
  if (c >= 0x400 && c < 0x430) return false;
  return isLetter(c);
}

bool isHyphen(char32_t c) { return c == '-' || c == 0xAD || c == 0x2010 || c == 0x2011; }

char32_t combiningMark(char32_t accent) {
  if (accent >= 0x300 && accent <= 0x36F) return accent;
  for (const auto& [alone, mark] : kAccents) {
    if (accent == alone) return mark;
  }
  return 0;
}

char32_t composed(char32_t base, char32_t mark) {
  if (base == 0x131) base = 'i';
  if (base == 0x237) base = 'j';
  for (const Decomposition& d : kDecompositions) {
    if (d.base == base && d.mark == mark) return d.letter;
  }
  return 0;
}

char32_t baseLetter(char32_t c) {
  while (const Decomposition* d = decompositionOf(c)) c = d->base;
  return c;
}

size_t toWindows1252(char32_t c, char* out) {
  const bool direct = c < 0x7F ? c >= 0x20 : c >= 0xA0 && c <= 0xFF && c != 0xAD;
  if (direct || c == '\n' || c == '\f' || c == '\t') {
    *out = static_cast<char>(c);
    return 1;
  }
  if (c == 0xAD || (c >= 0x300 && c <= 0x36F) || (c >= 0x200B && c <= 0x200F) || c == 0xFEFF) {
    return 0;
  }
  if (c >= 0x152 && c <= 0x2122) {
    const auto* const place = std::find(kHighControls, std::end(kHighControls), c);
    if (place != std::end(kHighControls)) {
      *out = static_cast<char>(0x80 + (place - kHighControls));
      return 1;
    }
  }
  const auto* const replacement =
      std::lower_bound(std::begin(kReplacements), std::end(kReplacements), c,
                       [](const Replacement& r, char32_t wanted) { return r.from < wanted; });
  if (replacement != std::end(kReplacements) && replacement->from == c) {
    const std::string_view text(replacement->to, kMaxWindows1252);
    return write(text.substr(0, text.find('\0')), out);
  }
  // One mark less may be a letter that is there; else the letter alone.
  if (const Decomposition* d = decompositionOf(c)) return toWindows1252(d->base, out);
  if (c >= 0xFF01 && c <= 0xFF5E) return toWindows1252(c - 0xFF01 + '!', out);  // full width
  *out = ' ';
  return 1;
}

void appendWindows1252(std::u32string_view text, std::string& out) {
  char bytes[kMaxWindows1252];
  for (const char32_t c : text) {
    if (c >= 0x20 && c < 0x7F) {
      out += static_cast<char>(c);
    } else {
      out.append(bytes, toWindows1252(c, bytes));
    }
  }
}

}  // namespace veska::pdf
