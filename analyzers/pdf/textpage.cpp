#include "analyzers/pdf/textpage.h"

#include <algorithm>
#include <cmath>

#include "analyzers/pdf/righttoleft.h"
#include "analyzers/pdf/unicode.h"

namespace veska::pdf {
namespace {

// In parts of the size of the letters:
constexpr double kWordGap = 0.1;         // a gap that ends a word
constexpr double kWordOverlap = 0.5;     // so far back is another place
constexpr double kSameBase = 0.05;       // base lines that differ less are one
constexpr double kDuplicateAlong = 0.1;  // a glyph so close to the same one is drawn twice
constexpr double kDuplicateAcross = 0.2;
constexpr double kAccentAcross = 0.7;  // an accent may be raised so far above its letter

}  // namespace

void TextPage::clear() {
  text_.clear();
  words_.clear();
  order_.clear();
  lines_.clear();
  blocks_.clear();
  open_ = false;
}

void TextPage::beginRun(const TextRun& run) {
  run_ = run;
  if (words_.empty()) return;
  const Word& last = words_.back();
  runChanged_ = run.angle != last.angle || std::fabs(run.base - last.base) > kSameBase * run.size ||
                std::fabs(run.size - last.size) > 0.05 * run.size;
}

void TextPage::add(std::u32string_view text, double from, double to) {
  if (text.empty()) return;
  if (text.size() == 1) {
    if (isBlank(text[0])) {
      closeWord();
    } else {
      addPart(text, from, to);
    }
    return;
  }
  if (isRightToLeft(text.front()) && isRightToLeft(text.back())) {
    const std::u32string seen(text.rbegin(), text.rend());
    return addText(seen, from, to);
  }
  addText(text, from, to);
}

// Blanks in a longer text divide its room.
void TextPage::addText(std::u32string_view text, double from, double to) {
  const double step = (to - from) / static_cast<double>(text.size());
  for (size_t begin = 0; begin < text.size();) {
    size_t end = begin;
    while (end < text.size() && !isBlank(text[end])) ++end;
    if (end > begin) {
      addPart(text.substr(begin, end - begin), from + step * static_cast<double>(begin),
              from + step * static_cast<double>(end));
    }
    if (end < text.size()) closeWord();
    begin = end + 1;
  }
}

// text has no blanks.
void TextPage::addPart(std::u32string_view text, double from, double to) {
  if (to < from) std::swap(from, to);
  if (open_) {
    Word& word = words_.back();
    const double across = std::fabs(run_.base - word.base);
    if (run_.angle == word.angle && across < kAccentAcross * run_.size && from < word.to) {
      const bool twice = text.size() == 1 && text[0] == text_.back() &&
                         std::fabs(from - lastFrom_) < kDuplicateAlong * run_.size &&
                         across < kDuplicateAcross * run_.size;
      if (twice || (text.size() == 1 && combine(text[0], from, to))) return;
    }
    const double gap = from - word.to;
    if (runChanged_ || gap > kWordGap * run_.size || gap < -kWordOverlap * run_.size) closeWord();
  }
  if (!open_) {
    words_.push_back(
        {from, to, run_.base, run_.size, static_cast<uint32_t>(text_.size()), 0, run_.angle});
    open_ = true;
    runChanged_ = false;
  }
  Word& word = words_.back();
  text_ += text;
  word.length += static_cast<uint32_t>(text.size());
  word.to = std::max(word.to, to);
  lastFrom_ = from;
}

// Where an accent and a letter are drawn over each other, makes one letter of both. Result: false
// when c is nothing of that kind.
bool TextPage::combine(char32_t c, double from, double to) {
  Word& word = words_.back();
  const double center = (from + to) / 2, lastCenter = (lastFrom_ + word.to) / 2;
  if (std::fabs(center - lastCenter) > 0.4 * run_.size ||
      (c < 0x80 && text_.back() < 0x80 && c != '^' && c != '`'))
    return false;
  char32_t letter = 0;
  if (const char32_t mark = combiningMark(c)) {
    letter = composed(text_.back(), mark);
  } else if (const char32_t before = combiningMark(text_.back()); before && isLetter(c)) {
    letter = composed(c, before);
    if (letter == 0) letter = c;
    // The letter's base line is the word's, where an accent began it.
    if (word.length == 1) {
      word.base = run_.base;
      word.from = std::min(word.from, from);
    }
    runChanged_ = false;
  }
  if (letter == 0) return false;
  text_.back() = letter;
  word.to = std::max(word.to, to);
  lastFrom_ = from;
  return true;
}

}  // namespace veska::pdf
