// What the extractor has to know about characters.

#ifndef VESKA_ANALYZERS_PDF_UNICODE_H_
#define VESKA_ANALYZERS_PDF_UNICODE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace veska::pdf {

// Blanks of all kinds, control characters among them.
bool isBlank(char32_t c);

// Letters of the Latin, Greek and Cyrillic scripts and their neighbours: what a hyphen may divide.
bool isLetter(char32_t c);
bool isLowerLetter(char32_t c);

// "-" and its relatives that may divide a word at a line's end.
bool isHyphen(char32_t c);

// The combining mark that an accent stands for which is drawn by itself (U+00B4 gives U+0301); a
// combining mark gives itself; 0 for all else.
char32_t combiningMark(char32_t accent);

// The letter made of a base letter and a combining mark; 0 when there is none. Dotless i and j
// count as i and j.
char32_t composed(char32_t base, char32_t mark);

// The plain letter of a letter with a diacritic; others as they are.
char32_t baseLetter(char32_t c);

// Windows-1252: the characters that are closest to a code point, as up to kMaxWindows1252 bytes.
// Ligatures give their letters, typographic signs their plain ones, letters with a diacritic that
// is not there the base letter; a blank stands for what has no equivalent; marks that combine and
// soft hyphens give nothing. Result: bytes written.
inline constexpr size_t kMaxWindows1252 = 4;
size_t toWindows1252(char32_t c, char* out);

// The same for a text, appended to out.
void appendWindows1252(std::u32string_view text, std::string& out);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_UNICODE_H_
