// The text of word processor documents of OOXML: docx, docm, dotx, dotm (ECMA-376, part 1, 17).

#ifndef VESKA_ANALYZERS_UNICODE_WORDSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_WORDSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// The document, then its headers, footers, notes, comments, diagrams and charts. Deleted, moved and
// hidden text and the instructions of fields are left out.
std::unique_ptr<TextSource> makeWordSource();
bool isWord(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_WORDSOURCE_H_
