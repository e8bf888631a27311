#include <cstring>
#include <vector>

#include "api/reporting.h"
#include "index/index.h"
#include "storage/stdiofile.h"

namespace {

constexpr size_t kBufferBytes = 65535;
constexpr size_t kMinLastWordBytes = 3;

}  // namespace

void CVeskaIndex::indexExclusions() {
  if (showStatus) setStatus("IndexingExcluded", {});
  skipped = nullptr;
  skipped = newSkipTable();
  const std::string path =
      skipFilePath.empty() ? configurationDirectory() + "skipfile.txt" : skipFilePath;
  const StdioFile stream = openStdio(path.c_str(), "rbe");
  if (!stream) throwVeskaError("SkipOpenFail", path);
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
