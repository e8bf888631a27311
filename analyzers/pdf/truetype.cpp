// TrueType and OpenType fonts (ISO/IEC 14496-22): the "cmap" table leads from characters to glyphs,
// the "post" table may name them.

#include <algorithm>
#include <string>

#include "analyzers/pdf/encodings.h"
#include "analyzers/pdf/fontprogram.h"

namespace veska::pdf {
namespace {

constexpr uint32_t kMaxTables = 64;
constexpr uint32_t kMaxSubtables = 32;
constexpr uint32_t kCustomNames = 258;  // from here on "post" has names of its own

std::string_view findTable(std::string_view font, std::string_view tag) {
  const size_t start = font.starts_with("ttcf") ? numberAt(font, 12, 4) : 0;
  const uint32_t count = std::min(numberAt(font, start + 4, 2), kMaxTables);
  for (uint32_t i = 0; i < count; ++i) {
    const size_t record = start + 12 + 16 * size_t{i};
    if (record + 16 > font.size()) break;
    if (font.substr(record, 4) != tag) continue;
    const size_t offset = numberAt(font, record + 8, 4);
    return offset < font.size() ? font.substr(offset, numberAt(font, record + 12, 4))
                                : std::string_view();
  }
  return {};
}

// Calls visit(code, glyph) for each mapping of a subtable of "cmap".
template <typename Visit>
void visitFormat4(std::string_view table, Budget& budget, const Visit& visit) {
  const uint32_t segments = numberAt(table, 6, 2) / 2;
  const size_t ends = 14, starts = 16 + 2 * size_t{segments},
               deltas = starts + 2 * size_t{segments}, ranges = deltas + 2 * size_t{segments};
  for (size_t i = 0; i < segments; ++i) {
    const uint32_t first = numberAt(table, starts + 2 * i, 2),
                   last = numberAt(table, ends + 2 * i, 2);
    const uint32_t delta = numberAt(table, deltas + 2 * i, 2);
    const uint32_t range = numberAt(table, ranges + 2 * i, 2);
    for (uint32_t code = first; code <= last && code < 0xFFFF; ++code) {
      if (!budget.takeSteps(2)) return;
      uint32_t glyph = code;
      if (range != 0) glyph = numberAt(table, ranges + 2 * i + range + 2 * size_t{code - first}, 2);
      if (range == 0 || glyph != 0) glyph = (glyph + delta) & 0xFFFF;
      if (glyph != 0) visit(code, glyph);
    }
  }
}

template <typename Visit>
void visitSubtable(std::string_view table, Budget& budget, const Visit& visit) {
  switch (numberAt(table, 0, 2)) {
    case 0:
      for (uint32_t code = 0; code < 256; ++code) {
        if (const uint32_t glyph = numberAt(table, 6 + size_t{code}, 1)) visit(code, glyph);
      }
      break;
    case 4:
      visitFormat4(table, budget, visit);
      break;
    case 6: {
      const uint32_t first = numberAt(table, 6, 2), count = numberAt(table, 8, 2);
      for (uint32_t i = 0; i < count && budget.takeSteps(2); ++i) {
        if (const uint32_t glyph = numberAt(table, 10 + 2 * size_t{i}, 2)) visit(first + i, glyph);
      }
      break;
    }
    case 12: {
      const uint32_t groups = numberAt(table, 12, 4);
      for (uint32_t i = 0; i < groups && budget.takeSteps(4); ++i) {
        const size_t at = 16 + 12 * size_t{i};
        if (at + 12 > table.size()) break;
        const uint32_t first = numberAt(table, at, 4), last = numberAt(table, at + 4, 4);
        const uint32_t glyph = numberAt(table, at + 8, 4);
        for (uint32_t j = 0; j <= last - first && last >= first; ++j) {
          if (glyph + j > 0xFFFF || first + j > 0x10FFFF || !budget.takeSteps(2)) break;
          visit(first + j, glyph + j);
        }
      }
      break;
    }
    default:
      break;
  }
}

// Names of glyphs by "post" version 2. Of the names that all fonts share only those of ASCII are
// looked at; other fonts have character maps.
void readPostNames(std::string_view post, Budget& budget, TextMap& byGlyph) {
  if (numberAt(post, 0, 4) != 0x00020000) return;
  const uint32_t count = numberAt(post, 32, 2);
  std::vector<std::string_view> names;
  for (size_t at = 34 + 2 * size_t{count}; at < post.size() && budget.takeSteps(2);) {
    const uint32_t length = numberAt(post, at, 1);
    names.push_back(post.substr(at + 1, length));
    at += 1 + length;
  }
  for (uint32_t glyph = 0; glyph < count && budget.takeSteps(8); ++glyph) {
    const uint32_t index = numberAt(post, 34 + 2 * size_t{glyph}, 2);
    if (!byGlyph[glyph].empty()) continue;
    if (index >= 3 && index <= 97) {
      const char32_t ascii = index + 29;
      byGlyph.set(glyph, {&ascii, 1});
    } else if (index >= kCustomNames && index - kCustomNames < names.size()) {
      const std::u32string text = textOfGlyphName(names[index - kCustomNames]);
      if (!text.empty()) byGlyph.set(glyph, text);
    }
  }
}

}  // namespace

FontProgram readTrueType(std::string_view data, Budget& budget) {
  if (const std::string_view cff = findTable(data, "CFF "); !cff.empty()) {
    return readCff(cff, budget);
  }
  FontProgram program;
  const std::string_view cmap = findTable(data, "cmap");
  std::string_view unicode, bytes;  // the subtables for Unicode and for the codes of a simple font
  const uint32_t count = std::min(numberAt(cmap, 2, 2), kMaxSubtables);
  for (uint32_t i = 0; i < count; ++i) {
    const size_t record = 4 + 8 * size_t{i};
    const uint32_t platform = numberAt(cmap, record, 2), encoding = numberAt(cmap, record + 2, 2);
    const std::string_view table =
        cmap.substr(std::min<size_t>(numberAt(cmap, record + 4, 4), cmap.size()));
    if (platform == 0 || (platform == 3 && (encoding == 1 || encoding == 10))) unicode = table;
    if (platform == 1 && bytes.empty()) bytes = table;
    if (platform == 3 && encoding == 0) bytes = table;
  }
  visitSubtable(unicode, budget, [&](char32_t code, uint32_t glyph) {
    // Codes of the private area say nothing; of several codes for a glyph the first one counts.
    const bool isPrivate = code >= 0xE000 && code <= 0xF8FF;
    if (!isPrivate && program.byGlyph[glyph].empty()) program.byGlyph.set(glyph, {&code, 1});
  });
  readPostNames(findTable(data, "post"), budget, program.byGlyph);
  visitSubtable(bytes, budget, [&](uint32_t code, uint32_t glyph) {
    const std::u32string text(program.byGlyph[glyph]);
    if (!text.empty()) program.byCode.set(code & 0xFF, text);
  });
  return program;
}

}  // namespace veska::pdf
