// Sources for mark-up, for other sources to use: the parts of office files, the HTML of e-books and
// of messages.

#ifndef VESKA_ANALYZERS_UNICODE_MARKUP_H_
#define VESKA_ANALYZERS_UNICODE_MARKUP_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// What a piece of mark-up is, told as the parser goes through the document.
class MarkupHandler {
 public:
  virtual ~MarkupHandler() = default;

  // A start tag, lower case in HTML, as it stands (with its prefix) in XML. attributes: what
  // follows the name, for attributeValue. empty: it ends itself ("/>"). Result: false stops the
  // parser.
  virtual bool startTag(std::string_view name, std::string_view attributes, bool empty) = 0;
  virtual bool endTag(std::string_view name) = 0;
  // Character data, entities decoded, in pieces.
  virtual bool characters(std::string_view utf8) = 0;
};

enum class Markup { kHtml, kXml };

// Goes through a document tag by tag: a tolerant tokenizer that takes whatever it gets, holds no
// more than a bounded piece of it, and knows no nesting. Comments, declarations and processing
// instructions are left out; a CDATA section is character data. In HTML the contents of script,
// style and the like are left out. The character set is found as in charset.h, with what the
// document declares (<meta>, <?xml encoding?>). Result: kDone, kStopped.
Outcome parseMarkup(Markup markup, ByteInput& input, std::string_view declaredCharset,
                    MarkupHandler& handler);

// The value of an attribute, entities decoded; empty when it is not there. name: as it stands in
// XML, lower case in HTML (where names match in any case).
std::string attributeValue(Markup markup, std::string_view attributes, std::string_view name);

// The name without its prefix: "w:t" gives "t".
std::string_view localName(std::string_view name);

// Appends text with its character references decoded, by the names of HTML, which hold those of
// XML.
void appendDecoded(Markup markup, std::string_view text, std::string& to);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MARKUP_H_
