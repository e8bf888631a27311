// Rich Text Format 1.x: "{" and "}" enclose groups; "\word", a number and one blank are a control
// word; "\'hh" is a character by its code; a backslash in front of anything else stands for a
// symbol.

#include "analyzers/rtfanalyzer.h"

#include <climits>
#include <cstring>
#include <string_view>

#include "analyzers/carry.h"
#include "analyzers/charsets.h"
#include "index/index.h"

namespace {

constexpr int kText = 0;
constexpr int kControlWord = -1;
constexpr int kBehindSpace = -2;
constexpr int kSkippedGroup = 1;

bool isLetter(char c) { return c >= 'a' && c <= 'z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

// -1 for a byte that is no digit.
int hexadecimalDigit(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Control words that open a group without readable text. Deliberate: "list" and "style" stand for
// every word that begins so.
struct Destination {
  std::string_view name;
  bool prefix;
};
constexpr Destination kSkippedDestinations[] = {{"pict", false}, {"object", false},
                                                {"do", false},   {"fonttbl", false},
                                                {"list", true},  {"style", true}};

// Does text begin with the control word name, and with no longer one?
bool isControlWord(std::string_view text, std::string_view name) {
  return text.substr(0, name.size()) == name &&
         (text.size() == name.size() || !isLetter(text[name.size()]));
}

bool opensSkippedGroup(std::string_view text) {
  for (const Destination& destination : kSkippedDestinations) {
    if (destination.prefix ? text.substr(0, destination.name.size()) == destination.name
                           : isControlWord(text, destination.name)) {
      return true;
    }
  }
  return false;
}

// Steps over a control word's letters, one blank and its number. cursor is at the first letter.
// Result: false when the block ends before the character behind it.
bool skipControlWord(CVeskaIndex& index, char*& cursor, const char* end) {
  while (cursor != end && isLetter(*cursor)) ++cursor;
  if (cursor == end) {
    carryText(index, "\\");
    return false;
  }
  if (*cursor == ' ') ++cursor;
  while (cursor != end && (isDigit(*cursor) || *cursor == '-')) ++cursor;
  if (cursor == end) {
    carryText(index, "");
    return false;
  }
  return true;
}

// Moves the word in progress so that it ends at cursor.
void moveWordTo(char* cursor, char** wordStart, char** wordEnd) {
  const auto length = static_cast<size_t>(*wordEnd - *wordStart);
  std::memmove(cursor - length, *wordStart, length);
  *wordStart = cursor - length;
  *wordEnd = cursor;
}

// Consumes *cursor inside a group that is not shown. Deliberate: an escaped "{" does not count,
// while an escaped "}" does, as the test is for "]".
void skipInGroup(char** cursor, unsigned long* remaining, int* state) {
  if (**cursor == '{') {
    if (*state != INT_MAX) ++*state;
  } else if (**cursor == '}') {
    --*state;
  } else if (**cursor == '\\' && *remaining != 0 && ((*cursor)[1] == '{' || (*cursor)[1] == ']')) {
    ++*cursor;
    --*remaining;
  }
}

// Does c belong to the control word that is being skipped? Moves *state on.
bool continuesControlWord(char c, int* state) {
  if (*state == kControlWord) {
    if (isLetter(c) || isDigit(c) || c == '-') return true;
    *state = c == ' ' ? kBehindSpace : kText;
    return c == ' ';
  }
  if (*state == kBehindSpace) {
    if (isDigit(c)) return true;
    *state = kText;
  }
  return false;
}

}  // namespace

CRtfAnalyzer::CRtfAnalyzer(CVeskaIndex* owner) : CFileAnalyzer(owner) { useCharacterHooks = true; }

// "{\rtf1\mac". Deliberate: only the three letters are looked at.
void CRtfAnalyzer::readHeader(const char* block, unsigned long len, bool firstBlock) {
  constexpr unsigned long kMinHeaderBytes = 23;
  constexpr size_t kCharsetOffset = 7;
  if (!firstBlock) return;
  macCharset = len >= kMinHeaderBytes && std::memcmp(block + kCharsetOffset, "mac", 3) == 0;
}

// Digits are read up to the first that is none.
char CRtfAnalyzer::escapedCharacter(char high, char low) const {
  int value = std::max(hexadecimalDigit(high), 0);
  if (hexadecimalDigit(high) >= 0 && hexadecimalDigit(low) >= 0) {
    value = value * 16 + hexadecimalDigit(low);
  }
  return static_cast<char>(macCharset ? kMacRomanToWindows[value] : value);
}

unsigned long CRtfAnalyzer::indexBuffer(char* buf, unsigned long len, unsigned long parentId,
                                        bool firstBlock) {
  readHeader(buf, len, firstBlock);
  return CFileAnalyzer::indexBuffer(buf, len, parentId, firstBlock);
}

unsigned long CRtfAnalyzer::stripBuffer(char* in, unsigned long inLen, char* out,
                                        unsigned long outSize, int lineWidth, bool option,
                                        bool firstBlock, int* state) {
  readHeader(in, inLen, firstBlock);
  return CFileAnalyzer::stripBuffer(in, inLen, out, outSize, lineWidth, option, firstBlock, state);
}

bool CRtfAnalyzer::checkIndexCharacter(char* c, char** cursor, char** wordStart, char** wordEnd,
                                       char** bufferStart, unsigned long len) {
  if (*c != '\\') return false;
  const char* const end = *bufferStart + len;
  char* at = ++*cursor;
  if (at == end) {
    carryText(*index, "\\");
    return true;
  }
  if (*at == '\'') {
    const auto left = static_cast<size_t>(end - at);
    if (left < 3) {
      *cursor = at + left;
      carryText(*index, std::string_view(at - 1, left + 1));
      return true;
    }
    at += 2;
    *at = escapedCharacter(at[-1], at[0]);
  } else if (isLetter(*at)) {
    if (!skipControlWord(*index, at, end)) {
      *cursor = at;
      return true;
    }
  } else if (*at != '\\') {
    *at = ' ';
  }
  *cursor = at;
  moveWordTo(at, wordStart, wordEnd);
  return true;
}

bool CRtfAnalyzer::checkStripCharacter(unsigned char* c, char** cursor, unsigned long* remaining,
                                       char /*previousOut*/, bool /*option*/, int* state) {
  if (carryBlockEnd(*index, cursor, remaining)) return true;
  if (*state >= kSkippedGroup) {
    skipInGroup(cursor, remaining, state);
    return true;
  }
  if (continuesControlWord(static_cast<char>(*c), state)) return true;
  switch (*c) {
    case '\\':
      return stripControl(c, cursor, remaining, state);
    case '{':
    case '}':
      return true;
    case '\r':
      if ((*cursor)[1] == '\n') {
        ++*cursor;
        --*remaining;
      }
      return true;
    default:
      return false;
  }
}

// The sequence that the backslash at *cursor begins. REQUIRES: more than kCarriedRemainder bytes
// after it.
bool CRtfAnalyzer::stripControl(unsigned char* c, char** cursor, unsigned long* remaining,
                                int* state) const {
  const std::string_view rest(*cursor + 1, *remaining);
  const auto step = [&](size_t bytes) {
    *cursor += bytes;
    *remaining -= bytes;
  };
  switch (rest[0]) {
    case '\\':
    case '{':
    case '}':
      // Deliberate: the backslash is what is shown.
      step(1);
      return false;
    case '*':
      step(1);
      *state = kSkippedGroup;
      return true;
    case '\'':
      step(3);
      *c = static_cast<unsigned char>(escapedCharacter(rest[1], rest[2]));
      return false;
    default:
      break;
  }
  if (!isLetter(rest[0])) {
    *c = ' ';
    return false;
  }
  constexpr std::string_view kParagraph = "par";
  if (isControlWord(rest, kParagraph)) {
    // The byte behind the word goes with it, whatever it is.
    step(kParagraph.size() + 1);
    *c = '\n';
    return false;
  }
  step(1);
  *state = opensSkippedGroup(rest) ? kSkippedGroup : kControlWord;
  return true;
}
