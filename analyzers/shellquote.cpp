#include <algorithm>
#include <array>

#include "analyzers/shellcommand.h"

namespace {

// In ASCII alone, whatever the locale.
bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("/._-+,@%:=").find(c) != std::string_view::npos;
}

// Inside single quotes only a single quote is special: it is written outside of them.
std::string forSingleQuotes(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\'')
      result += "'\\''";
    else
      result += c;
  }
  return result;
}

std::string forDoubleQuotes(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (std::string_view("$`\"\\").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

}  // namespace

void ShellPlace::advance(std::string_view piece) {
  for (const char c : piece) {
    if (escaped_)
      escaped_ = false;
    else if (c == '\\' && quotes_ != Quotes::kSingle)
      escaped_ = true;
    else if (c == '"' && quotes_ != Quotes::kSingle)
      quotes_ = quotes_ == Quotes::kDouble ? Quotes::kNone : Quotes::kDouble;
    else if (c == '\'' && quotes_ != Quotes::kDouble)
      quotes_ = quotes_ == Quotes::kSingle ? Quotes::kNone : Quotes::kSingle;
    else if (c == '#' && quotes_ == Quotes::kNone)
      comment_ = true;
  }
}

std::string ShellPlace::argument(const std::string& path) const {
  // A path that begins with "-" would be taken as an option.
  std::string file = path.starts_with('-') ? "./" + path : path;
  if (isPlainPath(file)) return file;
  switch (quotes_) {
    case Quotes::kSingle:
      return forSingleQuotes(file);
    case Quotes::kDouble:
      return forDoubleQuotes(file);
    default:
      return '\'' + forSingleQuotes(file) + '\'';
  }
}

bool isPlainPath(std::string_view path) { return std::all_of(path.begin(), path.end(), isPlain); }

bool isReadTwice(std::string_view command) {
  constexpr std::array<std::string_view, 8> kSigns = {"`",   "$(", "${",    "$'",
                                                      "$\"", "<<", "sh -c", "eval "};
  return std::any_of(kSigns.begin(), kSigns.end(), [command](std::string_view sign) {
    return command.find(sign) != std::string_view::npos;
  });
}
