// The kinds of office documents and e-books.

#ifndef VESKA_ANALYZERS_UNICODE_OFFICEKINDS_H_
#define VESKA_ANALYZERS_UNICODE_OFFICEKINDS_H_

#include <span>

#include "analyzers/unicode/kinds.h"

namespace veska::unicode {

std::span<const Kind> officeKinds();

}  // namespace veska::unicode

#endif  // VESKA_ANALYZERS_UNICODE_OFFICEKINDS_H_
