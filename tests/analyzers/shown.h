// Documents through the text pipeline of the Unicode mode.
#pragma once

#include <string>
#include <string_view>

#include "analyzers/unicode/textsource.h"

namespace veska::test {

// The text of a document as the display writer shows it, read in blocks of so many bytes. outcome:
// where not null, how the reading ended.
std::string shown(const std::string& bytes, std::string_view name, std::string_view charset = {},
                  size_t block = 1 << 20, size_t maxBytes = 1 << 20, int lineWidth = 0,
                  veska::unicode::Outcome* outcome = nullptr);

}  // namespace veska::test
