// The kinds of documents that the text pipeline reads, and how the kind of a document is told: by
// the analyzer that its name selected, else by the extension of its name, else by its first bytes.

#ifndef VESKA_ANALYZERS_UNICODE_KINDS_H_
#define VESKA_ANALYZERS_UNICODE_KINDS_H_

#include <memory>
#include <span>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

struct Kind {
  // The name under which include patterns select it: "html", "docx", ...
  std::string_view name;
  // Extensions without dots, lower case, separated by blanks: "html htm xhtml".
  std::string_view extensions;
  // Its source reads at any place of the input: it wants a file or bytes in memory.
  bool needsSeek;
  std::unique_ptr<TextSource> (*makeSource)();
  // Is a document that begins with these bytes of this kind? Called for documents whose name does
  // not tell, with up to PeekedInput::kHeadBytes bytes. Null: it is never told by its content.
  bool (*recognise)(std::string_view head);
};

// Every kind, those that are asked first to recognise a document first; "generic", plain text, is
// the last.
std::span<const Kind* const> allKinds();

// The kinds of office documents, e-books, mail and RTF (analyzers/unicode/documentkinds.cpp).
std::span<const Kind> documentKinds();

// The kind of that name; null when there is none.
const Kind* kindNamed(std::string_view name);

// The kind that the extension of a name tells; null when it tells none.
const Kind* kindOfName(std::string_view name);

// The kind of a document that begins with head; null when it is binary data of no kind.
const Kind* kindOfContent(std::string_view head);

// The kind of a document of that name that begins with head, when patterns tell the kind wanted:
// "generic" goes by name, then content; a kind whose bytes show another one is that one. Null when
// it is binary data of no kind.
const Kind* kindOfDocument(const Kind& wanted, std::string_view head, std::string_view name);

// Reads a document of whatever kind that lies within another one (an attachment, a part, ...), told
// by request.name and its content, and pushes its text. request: that of the document around it,
// with name, charset and depth as they are; the depth is counted here. A kind that needs seeking is
// read into memory first if it is no larger than a bound.
Outcome deliverDocument(ByteInput& input, const SourceRequest& request, TextSink& sink);

// As above, of a kind that is known. kind "generic": told as above.
Outcome deliverDocument(const Kind& kind, ByteInput& input, const SourceRequest& request,
                        TextSink& sink);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_KINDS_H_
