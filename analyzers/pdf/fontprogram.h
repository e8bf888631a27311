// What an embedded font program says about the meaning of its glyphs, for the fonts whose
// dictionary is silent about it: the built-in encoding of Type 1 and CFF fonts, the character map
// of TrueType fonts turned round.

#ifndef VESKA_ANALYZERS_PDF_FONTPROGRAM_H_
#define VESKA_ANALYZERS_PDF_FONTPROGRAM_H_

#include <cstdint>
#include <string_view>

#include "analyzers/pdf/budget.h"
#include "analyzers/pdf/textmap.h"

namespace veska::pdf {

struct FontProgram {
  TextMap byCode;   // text of the codes of a simple font
  TextMap byGlyph;  // text of glyph numbers
};

// How much of a font file in the Type 1 format has to be read: its head has the encoding.
inline constexpr uint64_t kType1HeadBytes = 32 << 10;

// Reads any of the formats, told apart by their first bytes. What cannot be read gives no text.
FontProgram readFontProgram(std::string_view data, Budget& budget);

// One format each.
FontProgram readType1(std::string_view data, Budget& budget);
FontProgram readCff(std::string_view data, Budget& budget);
FontProgram readTrueType(std::string_view data, Budget& budget);

// Big-endian numbers; 0 where the data does not reach.
inline uint32_t numberAt(std::string_view data, size_t at, size_t bytes) {
  if (at > data.size() || bytes > data.size() - at) return 0;
  uint32_t value = 0;
  for (size_t i = 0; i < bytes; ++i) value = value << 8 | static_cast<unsigned char>(data[at + i]);
  return value;
}

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_FONTPROGRAM_H_
