#include "host/encoding.h"

#include <utf8proc.h>

#include <algorithm>

namespace veska {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Windows-1252, 0x80 to 0x9F; the rest of the code page equals ISO 8859-1.
constexpr std::array<char16_t, 32> kUpperControls = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// The letter that each of U+0100 to U+017F is built on.
constexpr std::string_view kLatinExtendedA =
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIiIiJjKkkLlLlLlLlLlNnNnNnnNnOoOoOoOoRrRrRrSsSs"
    "Ss"
    "SsTtTtTtUuUuUuUuUuUuWwYyYZzZzZzs";
static_assert(kLatinExtendedA.size() == 0x80);

// The letters 0xC0 to 0xFF that are a letter with an accent: accent, letter, byte.
struct Composition {
  char16_t accent;
  char letter;
  unsigned char byte;
};
constexpr std::array<Composition, 58> kCompositions = {{
    {0x300, 'A', 0xC0}, {0x301, 'A', 0xC1}, {0x302, 'A', 0xC2}, {0x303, 'A', 0xC3},
    {0x308, 'A', 0xC4}, {0x30A, 'A', 0xC5}, {0x327, 'C', 0xC7}, {0x300, 'E', 0xC8},
    {0x301, 'E', 0xC9}, {0x302, 'E', 0xCA}, {0x308, 'E', 0xCB}, {0x300, 'I', 0xCC},
    {0x301, 'I', 0xCD}, {0x302, 'I', 0xCE}, {0x308, 'I', 0xCF}, {0x303, 'N', 0xD1},
    {0x300, 'O', 0xD2}, {0x301, 'O', 0xD3}, {0x302, 'O', 0xD4}, {0x303, 'O', 0xD5},
    {0x308, 'O', 0xD6}, {0x300, 'U', 0xD9}, {0x301, 'U', 0xDA}, {0x302, 'U', 0xDB},
    {0x308, 'U', 0xDC}, {0x301, 'Y', 0xDD}, {0x300, 'a', 0xE0}, {0x301, 'a', 0xE1},
    {0x302, 'a', 0xE2}, {0x303, 'a', 0xE3}, {0x308, 'a', 0xE4}, {0x30A, 'a', 0xE5},
    {0x327, 'c', 0xE7}, {0x300, 'e', 0xE8}, {0x301, 'e', 0xE9}, {0x302, 'e', 0xEA},
    {0x308, 'e', 0xEB}, {0x300, 'i', 0xEC}, {0x301, 'i', 0xED}, {0x302, 'i', 0xEE},
    {0x308, 'i', 0xEF}, {0x303, 'n', 0xF1}, {0x300, 'o', 0xF2}, {0x301, 'o', 0xF3},
    {0x302, 'o', 0xF4}, {0x303, 'o', 0xF5}, {0x308, 'o', 0xF6}, {0x300, 'u', 0xF9},
    {0x301, 'u', 0xFA}, {0x302, 'u', 0xFB}, {0x308, 'u', 0xFC}, {0x301, 'y', 0xFD},
    {0x308, 'y', 0xFF}, {0x308, 'Y', 0x9F}, {0x30C, 'S', 0x8A}, {0x30C, 's', 0x9A},
    {0x30C, 'Z', 0x8E}, {0x30C, 'z', 0x9E},
}};

constexpr bool isCombiningAccent(char32_t code) { return code >= 0x300 && code <= 0x36F; }

unsigned char byteAt(std::string_view text, size_t at) {
  return static_cast<unsigned char>(text[at]);
}

int closestLetter(char32_t code) {
  if (code >= 0x100 && code <= 0x17F) {
    return static_cast<unsigned char>(kLatinExtendedA[code - 0x100]);
  }
  switch (code) {
    case 0x218:
      return 'S';
    case 0x219:
      return 's';
    case 0x21A:
      return 'T';
    case 0x21B:
      return 't';
    case 0x1E9E:
      return 0xDF;
    case 0x2010:
    case 0x2011:
    case 0x2012:
    case 0x2212:
      return '-';
    case 0x2032:
      return '\'';
    case 0x2002:
    case 0x2003:
    case 0x2009:
    case 0x202F:
    case 0x3000:
      return ' ';
    default:
      return -1;
  }
}

}  // namespace

DecodedChar decodeUtf8(std::string_view text, size_t at) {
  if (at >= text.size()) return {0, 0, false};
  const unsigned char lead = byteAt(text, at);
  if (lead < 0x80) return {lead, 1, true};
  const unsigned length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() - at < length) return {0, 1, false};
  char32_t code = lead & (0x7Fu >> length);
  for (unsigned i = 1; i < length; ++i) {
    const unsigned char byte = byteAt(text, at + i);
    if ((byte & 0xC0) != 0x80) return {0, 1, false};
    code = (code << 6) | (byte & 0x3F);
  }
  constexpr std::array<char32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[length] || surrogate || code > 0x10FFFF) return {0, 1, false};
  return {code, length, true};
}

void appendUtf8(std::string& out, char32_t code) {
  const auto put = [&out](char32_t value) { out += static_cast<char>(value); };
  if (code < 0x80) {
    put(code);
  } else if (code < 0x800) {
    put(0xC0 | (code >> 6));
    put(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    put(0xE0 | (code >> 12));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  } else {
    put(0xF0 | (code >> 18));
    put(0x80 | ((code >> 12) & 0x3F));
    put(0x80 | ((code >> 6) & 0x3F));
    put(0x80 | (code & 0x3F));
  }
}

bool isUtf8(std::string_view text) {
  for (size_t at = 0; at < text.size();) {
    const DecodedChar c = decodeUtf8(text, at);
    if (!c.valid) return false;
    at += c.bytes;
  }
  return true;
}

char32_t characterOf(unsigned char byte) {
  if (byte < 0x80 || byte > 0x9F) return byte;
  const char16_t code = kUpperControls[byte - 0x80u];
  return code == 0 ? kReplacement : code;
}

int windows1252Of(char32_t code, bool closest) {
  if (code < 0x80 || (code >= 0xA0 && code <= 0xFF)) return static_cast<int>(code);
  const auto* found = std::find(kUpperControls.begin(), kUpperControls.end(), code);
  if (code >= 0x100 && found != kUpperControls.end()) {
    return static_cast<int>(0x80 + (found - kUpperControls.begin()));
  }
  return closest ? closestLetter(code) : -1;
}

Encoded encodeQuery(std::string_view utf8) {
  Encoded result;
  for (size_t at = 0; at < utf8.size();) {
    const DecodedChar c = decodeUtf8(utf8, at);
    if (!c.valid) {
      result.text += utf8[at];
    } else if (isCombiningAccent(c.code) && !result.text.empty()) {
      const auto* composed =
          std::find_if(kCompositions.begin(), kCompositions.end(), [&](const Composition& entry) {
            return entry.accent == c.code && entry.letter == result.text.back();
          });
      if (composed != kCompositions.end()) {
        result.text.back() = static_cast<char>(composed->byte);
      } else {
        result.approximated = true;
      }
    } else if (const int byte = windows1252Of(c.code, true); byte >= 0) {
      result.text += static_cast<char>(byte);
      if (windows1252Of(c.code, false) < 0) result.approximated = true;
    } else {
      if (result.unknown.empty()) {
        result.unknown = utf8.substr(at, c.bytes);
        result.unknownAt = at;
      }
      result.text += '?';
    }
    at += c.bytes;
  }
  return result;
}

std::string toUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size() + 8);
  for (size_t at = 0; at < text.size();) {
    const DecodedChar c = decodeUtf8(text, at);
    if (c.valid) {
      out.append(text, at, c.bytes);
    } else {
      appendUtf8(out, characterOf(byteAt(text, at)));
    }
    at += c.bytes;
  }
  return out;
}

void appendPrintable(std::string& out, char32_t code) {
  const bool control = code < 0x20 || (code >= 0x7F && code <= 0x9F);
  const bool direction = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  appendUtf8(out, control || direction ? kReplacement : code);
}

std::string printableText(std::string_view text) {
  std::string out;
  for (size_t at = 0; at < text.size();) {
    const DecodedChar c = decodeUtf8(text, at);
    appendPrintable(out, c.valid ? c.code : characterOf(byteAt(text, at)));
    at += c.bytes;
  }
  return out;
}

size_t characterCount(std::string_view utf8) {
  return static_cast<size_t>(std::count_if(utf8.begin(), utf8.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  }));
}

size_t columnsOf(char32_t code) {
  if (code < 0x300) return 1;
  return static_cast<size_t>(std::max(utf8proc_charwidth(static_cast<utf8proc_int32_t>(code)), 0));
}

size_t columnCount(std::string_view text) {
  size_t columns = 0;
  for (size_t at = 0; at < text.size();) {
    const DecodedChar c = decodeUtf8(text, at);
    columns += c.valid ? columnsOf(c.code) : 1;
    at += c.bytes;
  }
  return columns;
}

void fold(std::string& text) {
  for (char& byte : text) byte = foldByte(byte);
}

}  // namespace veska
