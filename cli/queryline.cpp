#include "cli/queryline.h"

#include <algorithm>
#include <cctype>

#include "cli/terminal.h"
#include "host/charset.h"
#include "host/errors.h"

namespace veska {
namespace {

bool isOption(std::string_view letters, std::string_view flags, std::string_view valued) {
  const bool onlyFlags = letters.find_first_not_of(flags) == std::string_view::npos;
  const bool withNumber = valued.find(letters.front()) != std::string_view::npos &&
                          letters.find_first_not_of("0123456789", 1) == std::string_view::npos;
  return onlyFlags || withNumber;
}

}  // namespace

void protectExclusions(std::vector<std::string>& arguments, std::string_view flags,
                       std::string_view valued) {
  for (std::string& argument : arguments) {
    if (argument == "--") break;
    if (argument.size() < 3 || argument[0] != '-' || argument[1] == '-') continue;
    if (!isOption(std::string_view(argument).substr(1), flags, valued)) argument.insert(0, 1, ' ');
  }
}

std::string joinQuery(const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) {
    const size_t begin = argument.starts_with(" -") ? 1 : 0;
    text += (text.empty() ? "" : " ") + argument.substr(begin);
  }
  return Charset::ofLocale().decoded(text);
}

Query parseQueryLine(const std::string& text, Catalog& catalog, bool allWords) {
  WordRule rule;
  if (!allWords) {
    rule = [&catalog](const std::string& word) { return catalog.whyNotIndexed(word); };
  }
  QueryResult parsed = parseQuery(text, rule, catalog.cutter());
  if (parsed.query) return std::move(*parsed.query);
  const std::string explained = explain(parsed.error, text);
  const size_t end = explained.find('\n');
  fail(explained.substr(0, end), explained.substr(end + 1));
}

}  // namespace veska
