// Queries on texts. Input: the default distance, the query, a zero byte, the text. Looking hits up
// one by one and settling them for the whole text must give the same.

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "storage/hitsearch.h"

namespace {

WordClasses makeClasses() {
  WordClasses classes;
  for (int b = 1; b < 256; ++b) {
    classes.startTable[b] = std::isalnum(b) != 0;
    classes.insideTable[b] = classes.startTable[b] || b == '\'';
  }
  return classes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const WordClasses classes = makeClasses();
  if (size == 0) return 0;
  const int distance = data[0] % 8;
  const std::string input(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t queryEnd = input.find('\0');
  if (queryEnd == std::string::npos) return 0;
  const std::string query = input.substr(0, queryEnd);
  const std::string text =
      input.substr(queryEnd + 1, input.find('\0', queryEnd + 1) - queryEnd - 1);

  HitSearch stepping(classes, text, query, distance);
  HitSearch settled(classes, text, query, distance);
  settled.settle();
  const char* const end = text.data() + text.size();
  for (const char* at = text.data();; ++at) {
    const char* const hit = stepping.forwards(at, 0);
    if (hit != settled.forwards(at, 0) || hit < at || hit > end) std::abort();
    if (stepping.backwards(at, 3) != settled.backwards(at, 3)) std::abort();
    if (at == end) return 0;
  }
}
