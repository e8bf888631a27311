// Prints the text of PDF files as UTF-8, for scripts/pdf-score.
//
//   pdftext FILE...    pages end with a form feed; files that give none are told on standard error

#include <cstdio>
#include <string>

#include "analyzers/pdf/extractor.h"

namespace {

void appendUtf8(char32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
    return;
  }
  const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(kLead[more] | c >> (6 * more));
  for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | (c >> (6 * i) & 0x3F));
}

}  // namespace

int main(int count, char** names) {
  int failures = 0;
  std::u32string page;
  std::string out;
  for (int i = 1; i < count; ++i) {
    veska::pdf::TextExtractor extractor;
    const auto state = extractor.open(names[i]);
    if (state != veska::pdf::TextExtractor::State::kReady) {
      std::fprintf(stderr, "pdftext: %s: no text (%d)\n", names[i], static_cast<int>(state));
      ++failures;
      continue;
    }
    while (extractor.nextPage(page)) {
      out.clear();
      for (const char32_t c : page) appendUtf8(c, out);
      out += '\f';
      std::fwrite(out.data(), 1, out.size(), stdout);
    }
    if (extractor.cutShort()) std::fprintf(stderr, "pdftext: %s: cut short\n", names[i]);
  }
  return failures > 0;
}
