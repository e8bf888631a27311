// The text of PDF documents for the text pipeline.

#ifndef VESKA_ANALYZERS_UNICODE_PDFSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_PDFSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Page by page; a page ends a paragraph. The document is read into memory if it is no larger than a
// bound.
std::unique_ptr<TextSource> makePdfSource();
bool isPdf(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_PDFSOURCE_H_
