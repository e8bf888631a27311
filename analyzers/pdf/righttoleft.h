// Text of right-to-left scripts: pages hold its glyphs from left to right as they are seen, readers
// and indexes want its characters in the order in which they are read.

#ifndef VESKA_ANALYZERS_PDF_RIGHTTOLEFT_H_
#define VESKA_ANALYZERS_PDF_RIGHTTOLEFT_H_

#include <string>

namespace veska::pdf {

// Hebrew, Arabic, Syriac and the other scripts of that direction, with their marks; not their
// digits, which are written from left to right.
bool isRightToLeft(char32_t c);

// Puts the lines of a page, which end with line feeds, from the order seen into the order read. A
// line runs the way that most of its letters run; within it, words and numbers of the other
// direction keep theirs. (The reverse of Unicode Standard Annex 9 as far as it can be told without
// levels.)
void toReadingDirection(std::u32string& page);

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_RIGHTTOLEFT_H_
