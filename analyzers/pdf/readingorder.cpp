// Lines, blocks and their order: see textpage.h.

#include <algorithm>
#include <cmath>
#include <numeric>
#include <queue>

#include "analyzers/pdf/textpage.h"
#include "analyzers/pdf/unicode.h"

namespace veska::pdf {
namespace {

// In parts of the size of the letters:
constexpr double kTouching = 0.03;       // words of different style that are so close are one
constexpr double kColumnGap = 1.5;       // so far apart are other columns
constexpr double kBackwards = 0.5;       // how far a line may step back
constexpr double kScriptAcross = 0.5;    // how far indices are raised or lowered
constexpr double kSameBase = 0.15;       // base lines that differ less are one
constexpr double kLateGap = 0.6;         // what was drawn later belongs to a line if so close
constexpr double kLeading = 2.2;         // from one line of a block to the next at most
constexpr double kMaxLetterSpace = 0.4;  // between letters that are set apart
constexpr double kLetterSpaceSlack = 1.3;

constexpr double kMarginGap = 0.7;    // before text of another size that is no part of the line
constexpr double kScriptRatio = 2.2;  // letters so much larger stand over several lines
constexpr double kInitial = 1.8;      // letters so much larger may begin a paragraph
constexpr double kInitialGap = 0.3;
constexpr double kRestLeading = 2.2;  // to the second half of a divided word at most

constexpr size_t kMaxSearchedLines = 2000;
constexpr size_t kMaxOrderedBlocks = 400;  // the order takes time in the square of this

bool overlap(double from1, double to1, double from2, double to2) {
  return std::min(to1, to2) > std::max(from1, from2);
}

// Whether a word that is divided after one letter may go on with the other: "-Paul" is a name.
bool canFollow(char32_t divided, char32_t next) {
  return isLetter(next) && (isLowerLetter(next) || !isLowerLetter(divided));
}

}  // namespace

void TextPage::write(std::u32string& out) {
  if (words_.empty()) return;
  findLines();
  mergeLines();
  findBlocks();
  written_.assign(lines_.size(), 0);
  std::vector<uint32_t> sequence;
  for (const uint32_t block : blockOrder()) {
    for (uint32_t i = 0; i < blocks_[block].count; ++i)
      sequence.push_back(blocks_[block].begin + i);
  }
  const Line* last = nullptr;
  for (size_t i = 0; i < sequence.size(); ++i) {
    const Line& line = lines_[sequence[i]];
    if (written_[sequence[i]] == line.count) continue;  // all of it ended a divided word
    if (last) separate(*last, line, out);
    writeLine(sequence[i], out);
    last = &line;
    if (!endsDivided(out)) continue;
    const uint32_t next = sequence[std::min(i + 1, sequence.size() - 1)];
    const Line* const rest = findRest(line, next, out[out.size() - 2]);
    if (rest) writeRest(*rest, out);
  }
  out += U'\n';
}

// Ends a line before the next one.
void TextPage::separate(const Line& last, const Line& line, std::u32string& out) const {
  if (out.back() == 0xAD) out.pop_back();
  const double gap = line.from - last.to;
  const bool sameRow = last.angle == line.angle && gap > 0 &&
                       std::fabs(last.base - line.base) < kSameBase * line.size;
  // A large initial over several lines belongs to the word that begins beside it.
  const bool initial = last.count == 1 && words_[order_[last.begin]].length == 1 &&
                       last.size > kInitial * line.size && line.base > last.base &&
                       std::fabs(gap) < kInitialGap * last.size && isLowerLetter(firstChar(line));
  if (!initial || !isLetter(out.back())) out += sameRow ? U' ' : U'\n';
}

void TextPage::findLines() {
  order_.resize(words_.size());
  std::iota(order_.begin(), order_.end(), 0u);
  for (uint32_t i = 0; i < words_.size(); ++i) {
    const Word& word = words_[i];
    if (!lines_.empty() && continues(lines_.back(), word)) {
      Line& line = lines_.back();
      ++line.count;
      line.to = std::max(line.to, word.to);
      if (word.size > line.size * 1.05) {  // the largest letters stand on the line
        line.base = word.base;
        line.size = word.size;
      }
    } else {
      lines_.push_back({i, 1, word.from, word.to, word.base, word.size, word.angle});
    }
  }
}

bool TextPage::continues(const Line& line, const Word& word) const {
  const double size = std::max(line.size, word.size), least = std::min(line.size, word.size);
  const double across = std::fabs(line.base - word.base), gap = word.from - line.to;
  if (line.angle != word.angle || across > kScriptAcross * size) return false;
  if (size > kScriptRatio * least && across > kScriptAcross * least) return false;
  if (gap > kMarginGap * size && size > 1.05 * least) return false;
  if (gap > kColumnGap * size || gap < -kBackwards * size) return false;
  return across < kSameBase * size || gap < 0.5 * size;
}

// Pieces of one base line that were drawn at different times become one line. Sorted by base line,
// the pieces of one stand together.
void TextPage::mergeLines() {
  if (lines_.size() < 2) return;
  std::vector<uint32_t> sorted(lines_.size());
  std::iota(sorted.begin(), sorted.end(), 0u);
  std::sort(sorted.begin(), sorted.end(), [this](uint32_t a, uint32_t b) {
    const Line &x = lines_[a], &y = lines_[b];
    if (x.angle != y.angle) return x.angle < y.angle;
    if (x.base != y.base) return x.base > y.base;
    return x.from != y.from ? x.from < y.from : a < b;
  });
  std::vector<uint32_t> row, group;
  bool merged = false;
  for (size_t begin = 0; begin < sorted.size();) {
    const Line& first = lines_[sorted[begin]];
    size_t end = begin + 1;
    while (end < sorted.size() && lines_[sorted[end]].angle == first.angle &&
           first.base - lines_[sorted[end]].base <
               kSameBase * std::min(first.size, lines_[sorted[end]].size)) {
      ++end;
    }
    if (end - begin > 1) {
      row.assign(sorted.begin() + static_cast<std::ptrdiff_t>(begin),
                 sorted.begin() + static_cast<std::ptrdiff_t>(end));
      std::sort(row.begin(), row.end(), [this](uint32_t a, uint32_t b) {
        return lines_[a].from != lines_[b].from ? lines_[a].from < lines_[b].from : a < b;
      });
      group.assign(1, row[0]);
      double to = lines_[row[0]].to;
      for (size_t i = 1; i <= row.size(); ++i) {
        const Line* const next = i < row.size() ? &lines_[row[i]] : nullptr;
        if (next && next->from - to < kLateGap * next->size) {
          group.push_back(row[i]);
          to = std::max(to, next->to);
          continue;
        }
        if (group.size() > 1) {
          mergeGroup(group);
          merged = true;
        }
        if (!next) break;
        group.assign(1, row[i]);
        to = next->to;
      }
    }
    begin = end;
  }
  if (merged) std::erase_if(lines_, [](const Line& line) { return line.count == 0; });
}

// The words of all lines of the group, sorted, take the place of the line that was drawn first.
// Words that were drawn twice count once.
void TextPage::mergeGroup(const std::vector<uint32_t>& group) {
  std::vector<uint32_t> words;
  Line& target = lines_[*std::min_element(group.begin(), group.end())];
  for (const uint32_t index : group) {
    Line& line = lines_[index];
    words.insert(words.end(), order_.begin() + line.begin,
                 order_.begin() + line.begin + line.count);
    target.from = std::min(target.from, line.from);
    target.to = std::max(target.to, line.to);
    line.count = 0;
  }
  std::stable_sort(words.begin(), words.end(),
                   [this](uint32_t a, uint32_t b) { return words_[a].from < words_[b].from; });
  target.begin = static_cast<uint32_t>(order_.size());
  for (const uint32_t index : words) {
    const Word& word = words_[index];
    const size_t known = order_.size() - target.begin;
    bool twice = false;
    for (size_t i = 1; i <= std::min<size_t>(known, 3) && !twice; ++i) {
      const Word& other = words_[order_[order_.size() - i]];
      twice = std::fabs(other.from - word.from) < 0.2 * word.size && other.length == word.length &&
              text_.compare(other.begin, other.length, text_, word.begin, word.length) == 0;
    }
    if (!twice) order_.push_back(index);
  }
  target.count = static_cast<uint32_t>(order_.size()) - target.begin;
}

void TextPage::findBlocks() {
  for (uint32_t i = 0; i < lines_.size(); ++i) {
    const Line& line = lines_[i];
    if (!blocks_.empty()) {
      Block& block = blocks_.back();
      const double down = block.bottom - line.base;
      if (block.angle == line.angle && down > 0 && down < kLeading * line.size &&
          overlap(block.from, block.to, line.from, line.to)) {
        ++block.count;
        block.from = std::min(block.from, line.from);
        block.to = std::max(block.to, line.to);
        block.bottom = line.base;
        continue;
      }
    }
    blocks_.push_back(
        {i, 1, line.from, line.to, line.base + 0.7 * line.size, line.base, line.angle});
  }
}

bool TextPage::standsAbove(const Block& a, const Block& b) const {
  return a.angle == b.angle && a.bottom >= b.top && overlap(a.from, a.to, b.from, b.to);
}

// Of the blocks that no other one has to come before, always the one that was drawn first.
std::vector<uint32_t> TextPage::blockOrder() const {
  const auto count = static_cast<uint32_t>(blocks_.size());
  std::vector<uint32_t> order(count);
  std::iota(order.begin(), order.end(), 0u);
  if (count < 2 || count > kMaxOrderedBlocks) return order;
  std::vector<uint32_t> before(count, 0);
  bool sorted = true;
  for (uint32_t a = 0; a < count; ++a) {
    for (uint32_t b = 0; b < count; ++b) {
      if (a == b || !standsAbove(blocks_[a], blocks_[b])) continue;
      ++before[b];
      sorted = sorted && a < b;
    }
  }
  if (sorted) return order;
  std::priority_queue<uint32_t, std::vector<uint32_t>, std::greater<>> ready;
  for (uint32_t i = 0; i < count; ++i) {
    if (before[i] == 0) ready.push(i);
  }
  order.clear();
  while (!ready.empty()) {
    const uint32_t a = ready.top();
    ready.pop();
    order.push_back(a);
    for (uint32_t b = 0; b < count; ++b) {
      if (a != b && standsAbove(blocks_[a], blocks_[b]) && --before[b] == 0) ready.push(b);
    }
  }
  return order;
}

// From which gap on two words of the line have a blank between them. A line of single letters may
// be a word whose letters are set apart.
double TextPage::spaceThreshold(const Line& line) const {
  double least = 1e9;
  for (uint32_t i = 0; i < line.count && line.count > 1; ++i) {
    const Word& word = words_[order_[line.begin + i]];
    if (word.length > 1) return kTouching * line.size;
    if (i > 0) least = std::min(least, word.from - words_[order_[line.begin + i - 1]].to);
  }
  if (line.count < 2 || least <= 0) return kTouching * line.size;
  return std::min(kLetterSpaceSlack * least, kMaxLetterSpace * line.size);
}

void TextPage::writeLine(uint32_t index, std::u32string& out) {
  const Line& line = lines_[index];
  const double threshold = spaceThreshold(line);
  const Word* last = nullptr;
  for (uint32_t i = written_[index]; i < line.count; ++i) {
    const Word& word = words_[order_[line.begin + i]];
    if (last && word.from - last->to >= threshold) out += U' ';
    out.append(text_, word.begin, word.length);
    last = &word;
  }
  written_[index] = line.count;
}

// Whether the text so far ends with a hyphen that may divide a word.
bool TextPage::endsDivided(const std::u32string& out) const {
  return out.size() >= 2 && isHyphen(out.back()) && isLetter(out[out.size() - 2]);
}

// The line that the word goes on in which is divided at the end of `line`: the one right below it,
// of several the one that begins most like it; else `next`, the next one in reading order, when
// that is at the top of another column. divided: the letter before the hyphen.
const TextPage::Line* TextPage::findRest(const Line& line, uint32_t next, char32_t divided) const {
  const Line* best = nullptr;
  double bestDown = kRestLeading * line.size;
  for (uint32_t i = 0; i < lines_.size() && lines_.size() <= kMaxSearchedLines; ++i) {
    const Line& other = lines_[i];
    const double down = line.base - other.base;
    if (written_[i] > 0 || other.angle != line.angle || down < 0.4 * line.size || down > bestDown ||
        other.from > line.to || other.to < line.from || !canFollow(divided, firstChar(other)) ||
        other.size > 1.3 * line.size || other.size < 0.75 * line.size) {
      continue;
    }
    if (best && bestDown - down < kSameBase * line.size &&
        std::fabs(best->from - line.from) < std::fabs(other.from - line.from)) {
      continue;
    }
    best = &other;
    bestDown = down;
  }
  if (best) return best;
  const Line& other = lines_[next];
  const bool elsewhere = other.angle != line.angle || other.base > line.base + line.size ||
                         other.base < line.base - kSameBase * line.size;
  return written_[next] == 0 && elsewhere && canFollow(divided, firstChar(other)) ? &other
                                                                                  : nullptr;
}

// Writes the first word of the line in place of the hyphen.
void TextPage::writeRest(const Line& rest, std::u32string& out) {
  out.pop_back();
  const uint32_t end = firstWordEnd(rest);
  for (uint32_t i = 0; i < end; ++i) {
    const Word& word = words_[order_[rest.begin + i]];
    out.append(text_, word.begin, word.length);
  }
  written_[static_cast<size_t>(&rest - lines_.data())] = end;
}

// How many of the line's words stand before its first blank.
uint32_t TextPage::firstWordEnd(const Line& line) const {
  const double threshold = spaceThreshold(line);
  uint32_t end = 1;
  while (end < line.count &&
         words_[order_[line.begin + end]].from - words_[order_[line.begin + end - 1]].to <
             threshold) {
    ++end;
  }
  return end;
}

}  // namespace veska::pdf
