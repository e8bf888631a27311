// The text of Rich Text Format documents (Microsoft, RTF version 1.9.1).

#ifndef VESKA_ANALYZERS_UNICODE_RTFSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_RTFSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Title, subject, author and keywords, then the text with its headers, footers, notes, comments,
// text boxes and the results of its fields. Tables of fonts and styles, pictures, the instructions
// of fields, hidden and deleted text and destinations that are not known are left out. A file that
// is no RTF is read as plain text.
std::unique_ptr<TextSource> makeRtfSource();
bool isRtf(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_RTFSOURCE_H_
