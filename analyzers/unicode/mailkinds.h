// The kinds of messages and mailboxes.

#ifndef VESKA_ANALYZERS_UNICODE_MAILKINDS_H_
#define VESKA_ANALYZERS_UNICODE_MAILKINDS_H_

#include <span>
#include <string_view>

#include "analyzers/unicode/kinds.h"

namespace veska::unicode {

std::span<const Kind> mailKinds();

// Is this the name of a message in a Maildir folder ("1234567890.M5P6.example.org:2,S")? What
// stands behind its last dot is no extension.
bool isDeliveryName(std::string_view baseName);

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_MAILKINDS_H_
