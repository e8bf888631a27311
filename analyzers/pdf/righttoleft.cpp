#include "analyzers/pdf/righttoleft.h"

#include <algorithm>

namespace veska::pdf {
namespace {

using Place = std::u32string::iterator;

constexpr char32_t kFirst = 0x590;

bool isDigit(char32_t c) {
  return (c >= '0' && c <= '9') || (c >= 0x660 && c <= 0x669) || (c >= 0x6F0 && c <= 0x6F9);
}

bool isLetterToRight(char32_t c) {
  if (c < 0x80) return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
  return c >= 0xAA && c != 0xD7 && c != 0xF7 && !isRightToLeft(c) && !isDigit(c) &&
         (c < 0x2000 || c >= 0x2C00);
}

bool runsToRight(char32_t c) { return isDigit(c) || isLetterToRight(c); }

// Does a piece that runs to the right go on from `last` to `next`? Blanks join letters, not
// numbers.
bool joins(Place last, Place next) {
  if (isLetterToRight(*last) && isLetterToRight(*next)) return true;
  return std::find(last, next, U' ') == next;
}

// Turns a piece round, but for what runs to the right within it.
void turn(Place begin, Place end) {
  std::reverse(begin, end);
  for (Place at = std::find_if(begin, end, runsToRight); at != end;) {
    Place last = at;
    Place next = end;
    for (;;) {
      next = std::find_if(last + 1, end,
                          [](char32_t c) { return runsToRight(c) || isRightToLeft(c); });
      if (next == end || !runsToRight(*next) || !joins(last, next)) break;
      last = next;
    }
    std::reverse(at, last + 1);
    at = std::find_if(next, end, runsToRight);
  }
}

// In a line that runs to the right: the pieces that do not.
void turnPieces(Place begin, Place end) {
  for (Place at = std::find_if(begin, end, isRightToLeft); at != end;) {
    const Place next = std::find_if(at, end, isLetterToRight);
    Place last = next;
    while (!isRightToLeft(*(last - 1))) --last;
    turn(at, last);
    at = std::find_if(next, end, isRightToLeft);
  }
}

}  // namespace

bool isRightToLeft(char32_t c) {
  if (c < kFirst || isDigit(c)) return false;
  return c <= 0x8FF || (c >= 0xFB1D && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFE) ||
         (c >= 0x10800 && c <= 0x10FFF) || (c >= 0x1E800 && c <= 0x1EFFF);
}

void toReadingDirection(std::u32string& page) {
  for (Place at = std::find_if(page.begin(), page.end(), isRightToLeft); at != page.end();) {
    Place begin = at;
    while (begin != page.begin() && *(begin - 1) != U'\n') --begin;
    const Place end = std::find(at, page.end(), U'\n');
    const auto leftward = std::count_if(begin, end, isRightToLeft);
    const auto rightward = std::count_if(begin, end, isLetterToRight);
    if (leftward >= rightward) {
      turn(begin, end);
    } else {
      turnPieces(begin, end);
    }
    at = std::find_if(end, page.end(), isRightToLeft);
  }
}

}  // namespace veska::pdf
