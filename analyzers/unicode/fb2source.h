// The text of FictionBook 2 files: XML, or that in a ZIP archive.

#ifndef VESKA_ANALYZERS_UNICODE_FB2SOURCE_H_
#define VESKA_ANALYZERS_UNICODE_FB2SOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Title, authors, annotation and keywords, then the text. Pictures are left out.
std::unique_ptr<TextSource> makeFb2Source();
bool isFb2(std::string_view head);

// The first book of an archive.
std::unique_ptr<TextSource> makeZippedFb2Source();
bool isZippedFb2(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_FB2SOURCE_H_
