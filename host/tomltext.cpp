#include "host/tomltext.h"

#include <algorithm>

namespace veska {
namespace {

// Where the string ends that begins with the quote at `at`; the end of the text when it does not.
size_t endOfString(std::string_view toml, size_t at) {
  const char quote = toml[at];
  const bool escapes = quote == '"';
  const std::string_view triple = escapes ? "\"\"\"" : "'''";
  const bool isMultiLine = toml.substr(at).starts_with(triple);
  for (at += isMultiLine ? triple.size() : 1; at < toml.size(); ++at) {
    if (escapes && toml[at] == '\\') {
      ++at;
    } else if (isMultiLine && toml.substr(at).starts_with(triple)) {
      // One or two quotes may stand before the three that end it.
      return std::min(toml.find_first_not_of(quote, at), at + triple.size() + 2);
    } else if (!isMultiLine && (toml[at] == quote || toml[at] == '\n')) {
      return at + 1;
    }
  }
  return toml.size();
}

}  // namespace

size_t findForeignCharacter(std::string_view toml) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  size_t at = toml.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  while (at < toml.size()) {
    const char c = toml[at];
    if (static_cast<unsigned char>(c) >= 0x80) return at;
    if (c == '#') {
      at = std::min(toml.find('\n', at), toml.size());
    } else if (c == '"' || c == '\'') {
      at = endOfString(toml, at);
    } else {
      ++at;
    }
  }
  return toml.npos;
}

}  // namespace veska
