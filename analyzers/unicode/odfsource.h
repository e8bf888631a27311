// The text of OpenDocument files (ISO/IEC 26300): texts, sheets, slides, drawings and their
// templates; as packages or as flat XML.

#ifndef VESKA_ANALYZERS_UNICODE_ODFSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_ODFSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Properties, contents with notes and comments, headers and footers, the titles of charts. Deleted
// text is left out; cells that repeat count once.
std::unique_ptr<TextSource> makeOdfSource();
bool isOdf(std::string_view head);

// The same in one XML file, without the properties.
std::unique_ptr<TextSource> makeFlatOdfSource();
bool isFlatOdf(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_ODFSOURCE_H_
