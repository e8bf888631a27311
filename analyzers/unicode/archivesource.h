// Archives as documents: all members one after the other, each by its own kind. So they are read
// where no record can be made of their members: attached to messages, without a telling name within
// other archives.

#ifndef VESKA_ANALYZERS_UNICODE_ARCHIVESOURCE_H_
#define VESKA_ANALYZERS_UNICODE_ARCHIVESOURCE_H_

#include <span>

#include "analyzers/unicode/kinds.h"

namespace veska::unicode {

// One kind for each format. The name of a member stands in front of its text.
std::span<const Kind> archiveKinds();

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_ARCHIVESOURCE_H_
