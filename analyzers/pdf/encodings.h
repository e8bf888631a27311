// The named encodings of simple fonts (ISO 32000-1, annex D), the names of glyphs, and the widths
// of the standard 14 fonts.

#ifndef VESKA_ANALYZERS_PDF_ENCODINGS_H_
#define VESKA_ANALYZERS_PDF_ENCODINGS_H_

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace veska::pdf {

// Unicode of each code, 0 where there is none.
using EncodingTable = std::array<uint16_t, 256>;

const EncodingTable& standardEncoding();
const EncodingTable& winAnsiEncoding();
const EncodingTable& symbolEncoding();
const EncodingTable& zapfDingbatsEncoding();
const EncodingTable& pdfDocEncoding();

// "WinAnsiEncoding" and so on; null for a name that is none.
const EncodingTable* encodingByName(std::string_view name);

// The text that a glyph name stands for by the Adobe Glyph List and its rules: "eacute", "uni00E9",
// "u1F600", "f_f_i", "a.alt". Small capitals and old-style figures give the plain characters. Empty
// when the name says nothing.
std::u32string textOfGlyphName(std::string_view name);

// Standard strings and predefined charsets of the Compact Font Format (Adobe Technical Note 5176),
// as code points.
std::span<const uint16_t> cffStandardNames();
std::span<const uint16_t> cffExpertCharset();
std::span<const uint16_t> cffExpertSubsetCharset();

// The widths of the standard font that a font's name stands for or, when it is none, of the one
// that is most like it by the descriptor's flags (ISO 32000-1, table 123): 224 widths in
// thousandths of the font size, for the codes from 32 on. isText: they go by WinAnsi code; false
// for Symbol and ZapfDingbats, which go by their own. Result: null for the Courier family, 600 wide
// all through.
const uint16_t* standardWidths(std::string_view baseFont, int64_t flags, bool& isText);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_ENCODINGS_H_
