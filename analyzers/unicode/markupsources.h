// The text of HTML and XML documents as a reader sees it.

#ifndef VESKA_ANALYZERS_UNICODE_MARKUPSOURCES_H_
#define VESKA_ANALYZERS_UNICODE_MARKUPSOURCES_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Title and meta description, then the page: inline tags join, block tags end lines, blanks
// collapse, the alternative text of images is text. Scripts, styles, comments and templates are
// left out.
std::unique_ptr<TextSource> makeHtmlSource();
bool isHtml(std::string_view head);

// The same for the pages of an e-book, whose own titles nobody sees.
std::unique_ptr<TextSource> makeBookPageSource();

// Character data; every tag but those known to be inline keeps words apart. Lines stay lines.
std::unique_ptr<TextSource> makeXmlSource();
bool isXml(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MARKUPSOURCES_H_
