// The text of EPUB books (EPUB Open Container Format and Packages 3.3, which hold EPUB 2).

#ifndef VESKA_ANALYZERS_UNICODE_EPUBSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_EPUBSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Title and authors, then the pages in reading order; where that cannot be told, all pages in the
// order of the archive.
std::unique_ptr<TextSource> makeEpubSource();
bool isEpub(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_EPUBSOURCE_H_
