#include <cerrno>
#include <cstring>
#include <limits>
#include <vector>

#include "analyzers/unicode/plaintext.h"
#include "analyzers/unicode/tokenizer.h"
#include "api/reporting.h"
#include "index/index.h"
#include "storage/stdiofile.h"

namespace {

constexpr size_t kBufferBytes = 65535;
constexpr size_t kMinLastWordBytes = 3;

// Every word of the file, whatever its length, cut as in documents.
class SkipTaker : public veska::unicode::WordTaker {
 public:
  explicit SkipTaker(CVeskaIndex& index) : index_(index) {}
  void take(const char* word, size_t, uint32_t, bool) override { index_.indexExcludedWord(word); }

 private:
  CVeskaIndex& index_;
};

}  // namespace

void CVeskaIndex::indexUnicodeExclusions(const std::string& path) {
  veska::unicode::FileInput file(path.c_str());
  if (!file.isOpen()) throwVeskaError("SkipOpenFail", path, errno);
  SkipTaker taker(*this);
  veska::unicode::Tokenizer tokenizer(*this, {1, std::numeric_limits<size_t>::max()}, taker);
  veska::unicode::SourceRequest request;
  veska::unicode::makePlainTextSource()->deliver(file, request, tokenizer);
  tokenizer.finish();
  bytesRead += static_cast<double>(file.size());
}

void CVeskaIndex::indexExclusions() {
  if (showStatus) setStatus("IndexingExcluded", {});
  skipped->clearAll();  // freed only once there is another
  skipped = newSkipTable();
  const std::string path =
      skipFilePath.empty() ? configurationDirectory() + "skipfile.txt" : skipFilePath;
  if (unicode) {
    indexUnicodeExclusions(path);
    return;
  }
  const StdioFile stream = openStdio(path.c_str(), "rbe");
  if (!stream) throwVeskaError("SkipOpenFail", path, errno);
  std::vector<char> buffer(kBufferBytes);
  pendingWord[0] = 0;
  size_t carried = 0;
  while (const size_t got = std::fread(&buffer[carried], 1, kBufferBytes - carried, stream.get())) {
    pendingWord[0] = 0;
    indexExcludeBuffer(buffer.data(), carried + got);
    bytesRead += static_cast<double>(got);
    // Deliberate: without an unfinished word, as many bytes as the last time are scanned once more.
    if (pendingWord[0] == 0) continue;
    carried = std::strlen(pendingWord);
    std::memcpy(buffer.data(), pendingWord, carried);
  }
  // Deliberate: the shortest word here is a constant, not the minimum word length.
  if (std::strlen(pendingWord) >= kMinLastWordBytes) indexExcludedWord(pendingWord);
}
