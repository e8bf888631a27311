#include <gtest/gtest.h>

#include <string>

#include "analyzers/pdf/righttoleft.h"

namespace veska::test {
namespace {

// Capitals stand for Hebrew letters, as bidirectional text is usually written down.
std::u32string page(const std::string& text) {
  std::u32string result;
  for (const char c : text)
    result += c >= 'A' && c <= 'Z' ? U'\u05D0' + static_cast<char32_t>(c - 'A')
                                   : static_cast<char32_t>(static_cast<unsigned char>(c));
  return result;
}

TEST(PdfRightToLeft, LinesAreReadInTheirDirection) {
  const std::pair<const char*, const char*> cases[] = {
      {"plain text, 12.5\n", "plain text, 12.5\n"},
      {"DLROW OLLEH\n", "HELLO WORLD\n"},
      {"TSRIF\nsecond\nDRIHT\n", "FIRST\nsecond\nTHIRD\n"},
      {".1984 RAEY EHT NI 12.5\n", "12.5 IN THE YEAR 1984.\n"},
      {"DROW free software DNA DROW DROW\n", "WORD WORD AND free software WORD\n"},
      {"the word DLROW OLLEH in a text\n", "the word HELLO WORLD in a text\n"},
      {"pages OT 12 MORF in the end", "pages FROM 12 TO in the end"},
      {"it ends with DROW", "it ends with WORD"},
  };
  for (const auto& [seen, read] : cases) {
    std::u32string text = page(seen);
    pdf::toReadingDirection(text);
    EXPECT_EQ(text, page(read)) << seen;
  }
}

}  // namespace
}  // namespace veska::test
