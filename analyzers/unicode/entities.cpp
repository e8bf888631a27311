#include "analyzers/unicode/entities.h"

#include <algorithm>
#include <iterator>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/charset.h"

namespace veska::unicode {
namespace {

struct Entity {
  std::string_view name;
  std::string_view text;
  bool bare;  // also without ";"
};

constexpr Entity kEntities[] = {
#include "analyzers/unicode/entities.inc"
};

const Entity* entityNamed(std::string_view name) {
  const auto* at = std::lower_bound(std::begin(kEntities), std::end(kEntities), name,
                                    [](const Entity& e, std::string_view n) { return e.name < n; });
  return at != std::end(kEntities) && at->name == name ? at : nullptr;
}

bool isNameByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// The value of a digit, 16 for none.
unsigned digitValue(char c) {
  if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
  return 16;
}

// Numbers of control characters were written by people who meant Windows-1252.
void appendNumbered(char32_t number, std::string& to) {
  if (number >= 0x80 && number < 0xA0) {
    const char byte = static_cast<char>(number);
    to += decodeAll(std::string_view(&byte, 1), "WINDOWS-1252");
  } else {
    appendUtf8(to, number == 0 ? kReplacement : number);
  }
}

size_t decodeNumber(std::string_view text, std::string& to) {
  size_t at = 2;
  const bool hex = at < text.size() && (text[at] == 'x' || text[at] == 'X');
  if (hex) ++at;
  const unsigned base = hex ? 16 : 10;
  const size_t digits = at;
  char32_t number = 0;
  for (; at < text.size() && at < kLongestReference && digitValue(text[at]) < base; ++at)
    number = std::min<char32_t>(number * base + digitValue(text[at]), kLastCharacter + 1);
  if (at == digits) return 0;
  appendNumbered(number, to);
  return at + (at < text.size() && text[at] == ';' ? 1 : 0);
}

}  // namespace

size_t decodeReference(std::string_view text, std::string& to) {
  if (text.size() > 1 && text[1] == '#') return decodeNumber(text, to);
  size_t end = 1;
  while (end < text.size() && end < kLongestReference && isNameByte(text[end])) ++end;
  const std::string_view name = text.substr(1, end - 1);
  if (end < text.size() && text[end] == ';') {
    if (const Entity* entity = entityNamed(name)) {
      to += entity->text;
      return end + 1;
    }
  }
  // The longest name that needs no ";" counts: "&copyright" is a copyright sign and "right".
  constexpr size_t kLongestBare = 6;
  for (size_t length = std::min(name.size(), kLongestBare); length > 1; --length) {
    const Entity* entity = entityNamed(name.substr(0, length));
    if (entity == nullptr || !entity->bare) continue;
    to += entity->text;
    return length + 1;
  }
  return 0;
}

}  // namespace veska::unicode
