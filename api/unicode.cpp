#include <cstdlib>
#include <cstring>
#include <string>

#include "analyzers/unicode/characters.h"
#include "analyzers/unicode/tokenizer.h"
#include "analyzers/unicode/wordwalk.h"
#include "api/guard.h"
#include "api/veskalib.h"
#include "index/index.h"

using namespace veska::unicode;

namespace {

constexpr WordLengths kAnyLength = {1, ~size_t{0}};

class LineTaker : public WordTaker {
 public:
  void take(const char* word, size_t bytes, uint32_t, bool) override {
    lines_.append(word, bytes).push_back('\n');
  }
  const std::string& lines() const { return lines_; }

 private:
  std::string lines_;
};

// Null when there is no memory.
char* copyForHost(const std::string& text) { return strdup(text.c_str()); }

}  // namespace

void vidxSetUnicode(CVeskaIndex* index, bool on) { index->unicode = on; }

char* vidxSplitWords(CVeskaIndex* index, const char* text) {
  return guarded(static_cast<char*>(nullptr), [&] {
    LineTaker taker;
    Tokenizer tokenizer(*index, kAnyLength, taker, true);
    tokenizer.text(text);
    tokenizer.finish();
    return copyForHost(taker.lines());
  });
}

char* vStripMarks(const char* word) {
  return guarded(static_cast<char*>(nullptr), [&] { return copyForHost(strippedText(word)); });
}

void vidxWalkWords(CVeskaIndex* index, const char* text, unsigned long length, bool wildcards,
                   VeskaWordCallBack use, void* context) {
  guarded([&] { WordWalk(*index, {text, length}, wildcards).run(use, context); });
}
