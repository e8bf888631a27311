// A look at the text of a TOML file before the parser gets it.

#ifndef VESKA_HOST_TOMLTEXT_H_
#define VESKA_HOST_TOMLTEXT_H_

#include <cstddef>
#include <string_view>

namespace veska {

// Position of the first byte outside ASCII that stands neither in a string nor in a comment, where
// TOML 1.0 allows none; npos if there is none. The parser is not sound for such characters
// (tomlplusplus 3.3, is_non_ascii_horizontal_whitespace).
size_t findForeignCharacter(std::string_view toml);

}  // namespace veska

#endif  // VESKA_HOST_TOMLTEXT_H_
