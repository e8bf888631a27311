// The whole PDF extractor on any bytes: it must end, with text or without.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "analyzers/pdf/extractor.h"
#include "analyzers/pdf/unicode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  veska::pdf::TextExtractor extractor;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (extractor.openBytes(bytes) != veska::pdf::TextExtractor::State::kReady) return 0;
  std::u32string page;
  std::string text;
  while (extractor.nextPage(page)) {
    text.clear();
    veska::pdf::appendWindows1252(page, text);
  }
  return 0;
}
