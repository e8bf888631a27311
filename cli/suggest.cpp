#include "cli/suggest.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "host/errors.h"

namespace veska {

size_t editDistance(std::string_view a, std::string_view b) {
  // Three rows of the table of distances between the beginnings of both words.
  std::vector<size_t> before(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    before.swap(last);
    last.swap(row);
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row[b.size()];
}

std::string nearest(std::string_view word, const std::vector<std::string>& candidates) {
  constexpr size_t kLongestWord = 64;
  if (word.size() > kLongestWord) return {};
  std::string best;
  // A third of the letters may be wrong, at least one of a short word.
  size_t least = std::max<size_t>(1, word.size() / 3) + 1;
  for (const std::string& candidate : candidates) {
    size_t distance = editDistance(word, candidate);
    if (word.size() > 2 && candidate.starts_with(word)) distance = std::min<size_t>(distance, 1);
    if (distance < least) {
      least = distance;
      best = candidate;
    }
  }
  return best;
}

void failUnknownOption(const CLI::App& app, const std::string& option) {
  const std::string name = option.substr(0, option.find('='));
  std::vector<std::string> known;
  for (const CLI::Option* each : app.get_options()) {
    for (const std::string& longName : each->get_lnames()) known.push_back("--" + longName);
  }
  const std::string meant = nearest(name, known);
  fail("there is no option " + name + (meant.empty() ? "" : "; did you mean " + meant + "?"),
       "see: " + app.get_name() + " --help");
}

}  // namespace veska
