// The text of a message for the text pipeline (RFC 5322, RFC 2045 to 2049): subject, sender,
// recipients and date; then the text of the body; then what is attached, each by its own kind.

#ifndef VESKA_ANALYZERS_UNICODE_MAILSOURCE_H_
#define VESKA_ANALYZERS_UNICODE_MAILSOURCE_H_

#include <memory>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::unicode {

// Of several forms of the same text, the first that is not empty counts, which is the plain one as
// senders write them. Signatures are left out, and what is encrypted is told. Pictures, sound and
// films give their names only.
std::unique_ptr<TextSource> makeMailSource();

// Is this a message, whatever it is called: do several fields that messages have stand at its top?
bool isMail(std::string_view head);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MAILSOURCE_H_
