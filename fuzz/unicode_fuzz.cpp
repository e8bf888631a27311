// Any bytes, as a document of each kind of the Unicode mode: into the tokenizer, and into the
// display writer, whose text must be valid and within its bounds; and as a query against that text.

#include <cstdlib>
#include <string>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/kinds.h"
#include "analyzers/unicode/tokenizer.h"
#include "fuzz/fuzzindex.h"
#include "storage/unicodehits.h"

using namespace veska::unicode;

namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

CVeskaIndex& sharedIndex() {
  static veska::fuzz::FuzzIndex index;
  return *index.get();
}

class CheckingTaker : public WordTaker {
 public:
  void take(const char* word, size_t bytes, uint32_t, bool) override {
    require(validUtf8Prefix({word, bytes}) == bytes && word[bytes] == 0);
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // Half of the inputs tell their kinds themselves.
  const auto kinds = allKinds();
  const Kind& kind = data[0] < 128 ? *kindNamed("generic") : *kinds[data[0] % kinds.size()];
  const int lineWidth = data[1] % 40;
  const size_t maxBytes = data[1] < 128 ? 100 : 1 << 20;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);

  CheckingTaker taker;
  Tokenizer tokenizer(sharedIndex(), {1, 64}, taker);
  MemoryInput input(bytes);
  SourceRequest request;
  request.maxExpanded = 1 << 20;
  deliverDocument(kind, input, request, tokenizer);
  tokenizer.finish();

  DisplayWriter writer(maxBytes, lineWidth);
  MemoryInput again(bytes);
  deliverDocument(kind, again, request, writer);
  const std::string text(writer.finish());
  require(text.size() <= maxBytes && validUtf8Prefix(text) == text.size());

  UnicodeHits hits(sharedIndex(), text, std::string(bytes.substr(0, 64)), 3);
  const char* const end = text.data() + text.size();
  const char* at = hits.forwards(text.data(), 0);
  require(at >= text.data() && at <= end);
  if (at != end) require(hits.backwards(end, 0) >= at);
  return 0;
}
