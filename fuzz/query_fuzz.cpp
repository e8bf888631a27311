// Queries as people type them, and where their words stand in a text. Input: the query, a line
// feed, the text.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fuzz/fuzzindex.h"
#include "host/hits.h"
#include "host/query.h"
#include "host/reader.h"

namespace {

// A few words are none that an index could hold.
std::string whyNotIndexed(const std::string& word) {
  return word.size() < 2 ? "it is too short" : "";
}

void require(bool holds) {
  if (!holds) std::abort();
}

void checkProgram(const veska::Query& query) {
  size_t depth = 0;
  for (const veska::QueryStep& step : query.program) {
    if (step.op == veska::QueryStep::Op::kLeaf) {
      require(step.leaf < query.leaves.size());
      ++depth;
    } else {
      const size_t taken = step.op == veska::QueryStep::Op::kNot ? 1 : 2;
      require(depth >= taken);
      depth -= taken - 1;
    }
  }
  require(depth == 1 && !query.onlyExcludes());
  require(query.positiveWords().size() == query.words.size());
  for (const veska::QueryLeaf& leaf : query.leaves) {
    require(leaf.leftWords <= leaf.words.size());
    for (const uint32_t word : leaf.words) require(word < query.words.size());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static veska::fuzz::FuzzIndex index;
  static veska::Reader reader(index.get());
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t line = std::min(input.find('\n'), input.size());
  const std::string_view text = input.substr(std::min(line + 1, input.size()));

  const veska::QueryResult result = veska::parseQuery(input.substr(0, line), whyNotIndexed);
  if (!result.query) {
    require(!veska::explain(result.error, input.substr(0, line)).empty());
    return 0;
  }
  const veska::Query& query = *result.query;
  checkProgram(query);
  const veska::HitFinder finder(reader, query);
  const std::vector<veska::WordHit> hits = finder.find(text);
  for (const veska::WordHit& hit : hits) {
    require(hit.offset <= text.size() && hit.length <= text.size() - hit.offset);
    require(hit.word < query.words.size());
  }
  for (const veska::QueryLeaf& leaf : query.leaves) finder.holds(leaf, hits);
  size_t last = 0;
  for (const veska::Mark& mark : finder.marks(hits)) {
    require(mark.begin >= last && mark.end >= mark.begin && mark.end <= text.size());
    last = mark.begin;
  }
  return 0;
}
