// Tags are told by their first letters, without regard to case; nothing is parsed. Character
// references are those of HTML 4, "&name;" and "&#number;", as far as the index's table goes.

#include "analyzers/htmlanalyzer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "analyzers/carry.h"
#include "api/lowercase.h"
#include "index/index.h"

namespace {

constexpr int kText = 0;
constexpr int kInTag = 1;
constexpr int kInScript = -1;

constexpr size_t kMaxEntityName = 31;

// Tags at whose end a word goes on.
constexpr std::string_view kInlineTags[] = {"b",    "i",     "u",   "em",  "strong", "span", "a",
                                            "font", "small", "big", "sub", "sup",    "code", "tt"};

bool isTwoByteLead(unsigned char c) { return (c & 0xE0) == 0xC0; }

// Only the low byte of the code point is kept.
unsigned char decodeTwoBytes(unsigned char lead, char next) {
  return static_cast<unsigned char>(lead * 64 + (static_cast<unsigned char>(next) & 0x3F));
}

bool isAsciiAlphanumeric(char c) {
  const unsigned char folded = foldByte(c);
  return (folded >= 'a' && folded <= 'z') || (c >= '0' && c <= '9');
}

// Does text begin with the lower-case ASCII name, in any case?
bool beginsWith(std::string_view text, std::string_view name) {
  return text.size() >= name.size() &&
         std::equal(name.begin(), name.end(), text.begin(), [](char wanted, char c) {
           return foldByte(c) == static_cast<unsigned char>(wanted);
         });
}

// Does text, what follows a "<", begin or end one of the inline tags?
bool isInlineTag(std::string_view text) {
  if (!text.empty() && text[0] == '/') text.remove_prefix(1);
  size_t length = 0;
  while (length < text.size() && isAsciiAlphanumeric(text[length])) ++length;
  return std::any_of(std::begin(kInlineTags), std::end(kInlineTags), [&](std::string_view name) {
    return name.size() == length && beginsWith(text, name);
  });
}

// The length of the name that text, what follows an "&", begins with.
size_t entityNameLength(std::string_view text) {
  const size_t bytes = std::min(text.size(), kMaxEntityName);
  const void* end = std::memchr(text.data(), ';', bytes);
  return end == nullptr ? bytes : static_cast<size_t>(static_cast<const char*>(end) - text.data());
}

// A zero-terminated copy of an entity name.
struct EntityName {
  explicit EntityName(std::string_view name) { name.copy(text, kMaxEntityName); }
  char text[kMaxEntityName + 1] = {};
};

// The number behind a name's first byte. Deliberate: bytes below "0" count too, and the remainder
// is taken by 255.
char numericReference(const char* name) {
  uint32_t value = 0;
  if (*name != '\0') {
    for (const char* digit = name + 1; *digit >= 0x01 && *digit <= 0x39; ++digit) {
      value = value * 10 + static_cast<uint32_t>(*digit - 0x30);
    }
  }
  return static_cast<char>(static_cast<int32_t>(value) % 255);
}

// Deliberate: any name that begins with a byte above 0x22, and so every usual one, is taken for a
// number.
char indexedEntity(const CVeskaIndex& index, const char* name) {
  if (static_cast<signed char>(name[0]) > 0x22) return numericReference(name);
  const auto entity = index.entities.find(name);
  return entity == index.entities.end() ? '\0' : entity->second;
}

}  // namespace

CHtmlAnalyzer::CHtmlAnalyzer(CVeskaIndex* owner) : CFileAnalyzer(owner) {
  useCharacterHooks = true;
}

bool CHtmlAnalyzer::checkIndexCharacter(char* c, char** cursor, char** /*wordStart*/,
                                        char** wordEnd, char** bufferStart, unsigned long len) {
  const char* const end = *bufferStart + len;
  if (isTwoByteLead(static_cast<unsigned char>(*c))) {
    if (++*cursor >= end) return true;
    *c = static_cast<char>(decodeTwoBytes(static_cast<unsigned char>(*c), **cursor));
  }
  if (*c != '&') return false;
  if (++*cursor >= end) return true;
  const std::string_view rest(*cursor, static_cast<size_t>(end - *cursor));
  const size_t length = entityNameLength(rest);
  *cursor += length;
  if (length == rest.size()) {
    carryText(*index, rest);
    return true;
  }
  *c = indexedEntity(*index, EntityName(rest.substr(0, length)).text);
  **wordEnd = *c;
  return false;
}

bool CHtmlAnalyzer::checkStripCharacter(unsigned char* c, char** cursor, unsigned long* remaining,
                                        char previousOut, bool option, int* state) {
  if (carryBlockEnd(*index, cursor, remaining)) return true;
  if (isTwoByteLead(*c)) {
    ++*cursor;
    --*remaining;
    *c = decodeTwoBytes(*c, **cursor);
  } else if (*c == '\t' || *c == '\n') {
    *c = ' ';
  }
  if (*c == ' ' && previousOut == ' ') return true;
  if (option && stripTags(c, cursor, remaining, previousOut, state)) return true;

  if (*remaining == 0) return false;
  if (*c == '&') {
    const std::string_view rest(*cursor + 1, *remaining);
    const size_t length = entityNameLength(rest);
    const size_t consumed = std::min(length + 1, rest.size());
    *cursor += consumed;
    *remaining -= consumed;
    *c = static_cast<unsigned char>(index->htmlChar(EntityName(rest.substr(0, length)).text));
  } else if (isTwoByteLead(*c)) {
    // Deliberate: what was decoded to such a byte takes the byte behind it along.
    ++*cursor;
    --*remaining;
    *c = decodeTwoBytes(*c, **cursor);
  }
  return false;
}

// Result: the character is consumed.
bool CHtmlAnalyzer::stripTags(unsigned char* c, char** cursor, unsigned long* remaining,
                              char previousOut, int* state) {
  constexpr std::string_view kScriptEnd = "/script";
  constexpr unsigned long kMinScriptRest = 9;
  if (*state == kInScript) {
    if (*remaining >= kMinScriptRest &&
        beginsWith(std::string_view(*cursor + 1, *remaining), kScriptEnd)) {
      *cursor += kScriptEnd.size();
      *remaining -= kScriptEnd.size();
      *state = kInTag;
      inlineTag_ = false;
    }
    return true;
  }
  if (*c == '<') return beginTag(c, cursor, remaining, state);
  if (*state != kInTag) return false;
  return *c != '>' || endTag(c, cursor, remaining, previousOut, state);
}

bool CHtmlAnalyzer::beginTag(unsigned char* c, char** cursor, unsigned long* remaining,
                             int* state) {
  constexpr std::string_view kScript = "script";
  constexpr unsigned long kMinScriptRest = 8;
  const std::string_view rest(*cursor + 1, *remaining);
  const auto beginLine = [&](unsigned long bytes) {
    *c = '\n';
    *cursor += bytes;
    *remaining -= bytes;
    return false;
  };
  inlineTag_ = isInlineTag(rest);
  *state = kInTag;
  if (rest.size() >= 2 && beginsWith(rest, "p")) return beginLine(1);
  if (rest.size() > 2 &&
      (beginsWith(rest, "/p") || beginsWith(rest, "br") || beginsWith(rest, "tr"))) {
    return beginLine(2);
  }
  if (beginsWith(rest, "li")) return beginLine(2);
  if (rest.size() >= kMinScriptRest && beginsWith(rest, kScript)) {
    *cursor += kScript.size();
    *remaining -= kScript.size();
    *state = kInScript;
  }
  return true;
}

bool CHtmlAnalyzer::endTag(unsigned char* c, char** cursor, unsigned long* remaining,
                           char previousOut, int* state) {
  *state = kText;
  if (inlineTag_ && isInsideWord(previousOut, *cursor + 1, *remaining)) return true;
  const bool skipSpaces = *remaining != 0 && (*cursor)[1] == ' ';
  while (*remaining != 0) {
    const char next = (*cursor)[1];
    if (next != '\r' && next != '\n' && next != '\t' && !(skipSpaces && next == ' ')) break;
    ++*cursor;
    --*remaining;
  }
  if (previousOut == ' ' || previousOut == '\n') return true;
  *c = ' ';
  return false;
}

// Does the text before a tag's end go on in the same word after it, maybe with further inline tags
// between? after: what follows the ">".
bool CHtmlAnalyzer::isInsideWord(char before, const char* after, unsigned long bytes) const {
  constexpr unsigned long kMaxLookAhead = 256;
  if (!isWordByte(before)) return false;
  std::string_view text(after, std::min(bytes, kMaxLookAhead));
  while (text.size() > 1 && text[0] == '<' && isInlineTag(text.substr(1))) {
    const size_t end = text.find('>');
    if (end == std::string_view::npos) return false;
    text.remove_prefix(end + 1);
  }
  return !text.empty() && isWordByte(text[0]);
}

bool CHtmlAnalyzer::isWordByte(char c) const {
  const auto byte = static_cast<unsigned char>(c);
  return index->validCharMask[byte] || index->validTrailingMask[byte] || isAsciiAlphanumeric(c);
}
