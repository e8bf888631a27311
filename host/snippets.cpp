#include "host/snippets.h"

#include <algorithm>

#include "host/encoding.h"

namespace veska {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

// A line that holds marks.
struct Line {
  size_t number;  // from 1
  size_t begin;
  size_t end;  // without the line feed
  size_t firstMark;
  size_t marks;
  size_t variety;  // different leaves of the query
};

size_t varietyOf(const std::vector<Mark>& marks, size_t first, size_t end) {
  std::vector<uint32_t> leaves;
  for (size_t i = first; i < end; ++i) {
    if (std::find(leaves.begin(), leaves.end(), marks[i].leaf) == leaves.end()) {
      leaves.push_back(marks[i].leaf);
    }
  }
  return leaves.size();
}

bool better(const Line& a, const Line& b) {
  return a.variety != b.variety ? a.variety > b.variety : a.number < b.number;
}

std::vector<Line> bestLines(std::string_view text, const std::vector<Mark>& marks, size_t most) {
  std::vector<Line> best;
  size_t number = 1;
  size_t countedTo = 0;
  for (size_t i = 0; i < marks.size();) {
    const size_t at = marks[i].begin;
    number += static_cast<size_t>(std::count(text.begin() + static_cast<ptrdiff_t>(countedTo),
                                             text.begin() + static_cast<ptrdiff_t>(at), '\n'));
    countedTo = at;
    const size_t before = at == 0 ? std::string_view::npos : text.rfind('\n', at - 1);
    const size_t begin = before == std::string_view::npos ? 0 : before + 1;
    const size_t end = std::min(text.find('\n', at), text.size());
    const size_t first = i;
    while (i < marks.size() && marks[i].begin < end) ++i;
    const Line line{number, begin, end, first, i - first, varietyOf(marks, first, i)};
    best.insert(std::upper_bound(best.begin(), best.end(), line, better), line);
    if (best.size() > most) best.pop_back();
  }
  std::sort(best.begin(), best.end(),
            [](const Line& a, const Line& b) { return a.number < b.number; });
  return best;
}

size_t columnsAt(std::string_view text, size_t at, size_t* bytes) {
  const DecodedChar c = decodeUtf8(text, at);
  *bytes = c.bytes;
  return c.valid ? columnsOf(c.code) : 1;
}

// The place so many columns behind `at`, or less when the next character does not fit or the end
// comes before. used: the columns between.
size_t forward(std::string_view text, size_t at, size_t end, size_t columns, size_t* used) {
  *used = 0;
  while (at < end) {
    size_t bytes = 0;
    const size_t width = columnsAt(text, at, &bytes);
    if (*used + width > columns) break;
    *used += width;
    at += bytes;
  }
  return at;
}

// The same the other way.
size_t backward(std::string_view text, size_t at, size_t begin, size_t columns) {
  size_t used = 0;
  while (at > begin) {
    size_t before = at - 1;
    while (before > begin && at - before < 4 &&
           (static_cast<unsigned char>(text[before]) & 0xC0) == 0x80) {
      --before;
    }
    if (decodeUtf8(text, before).bytes != at - before) before = at - 1;  // no UTF-8
    size_t bytes = 0;
    used += columnsAt(text, before, &bytes);
    if (used > columns) break;
    at = before;
  }
  return at;
}

// The part of a line to show: all of it, or a window with the first marks in it. width: columns.
std::pair<size_t, size_t> windowOf(std::string_view text, const Line& line,
                                   const std::vector<Mark>& marks, size_t width) {
  size_t used = 0;
  if (forward(text, line.begin, line.end, width, &used) == line.end) return {line.begin, line.end};
  const Mark& hit = marks[line.firstMark];
  size_t begin = backward(text, hit.begin, line.begin, width / 3);
  size_t end = forward(text, begin, line.end, width, &used);
  if (end == line.end) begin = backward(text, begin, line.begin, width - used);
  if (begin > line.begin) {
    const size_t blank = text.substr(0, hit.begin).find(' ', begin);
    if (blank != std::string_view::npos && blank - begin < width / 6) begin = blank + 1;
  }
  end = forward(text, begin, line.end, width, &used);
  if (end < line.end) {
    const size_t blank = text.rfind(' ', end);
    if (blank != std::string_view::npos && blank > hit.end && end - blank < width / 6) end = blank;
  }
  return {begin, end};
}

Snippet render(std::string_view text, const Line& line, const std::vector<Mark>& marks,
               size_t width) {
  const auto [begin, end] = windowOf(text, line, marks, width);
  Snippet snippet{line.number, {}, {}};
  if (begin > line.begin) snippet.text = kEllipsis;
  size_t mark = line.firstMark;
  const size_t lastMark = line.firstMark + line.marks;
  bool inHit = false;
  for (size_t at = begin; at < end;) {
    while (mark < lastMark && marks[mark].end <= at) ++mark;
    const bool hit = mark < lastMark && marks[mark].begin <= at;
    if (hit && !inHit) snippet.hits.emplace_back(snippet.text.size(), 0);
    if (!hit && inHit) snippet.hits.back().second = snippet.text.size();
    inHit = hit;
    const DecodedChar c = decodeUtf8(text.substr(0, end), at);
    const char32_t code = c.valid ? c.code : characterOf(static_cast<unsigned char>(text[at]));
    const bool blank = code <= ' ' || code == 0xA0;
    if (!blank) {
      appendPrintable(snippet.text, code);
    } else if (!snippet.text.empty() && snippet.text.back() != ' ') {
      snippet.text += ' ';
    }
    at += c.bytes;
  }
  if (inHit) snippet.hits.back().second = snippet.text.size();
  while (snippet.text.ends_with(' ')) snippet.text.pop_back();
  if (end < line.end) snippet.text += kEllipsis;
  return snippet;
}

}  // namespace

std::vector<Snippet> makeSnippets(std::string_view text, const std::vector<Mark>& marks,
                                  const SnippetOptions& options) {
  std::vector<Snippet> snippets;
  for (const Line& line : bestLines(text, marks, options.lines)) {
    snippets.push_back(render(text, line, marks, options.width));
  }
  return snippets;
}

}  // namespace veska
