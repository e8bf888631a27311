// The display writer takes plain text by runs. It must not matter how the text comes in.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "analyzers/unicode/displaywriter.h"

namespace veska::test {
namespace {

using unicode::DisplayWriter;

std::string wholeText(std::string_view text, size_t maxBytes, int width) {
  DisplayWriter writer(maxBytes, width);
  writer.text(text);
  return std::string(writer.finish());
}

std::string byCharacters(std::string_view text, size_t maxBytes, int width) {
  DisplayWriter writer(maxBytes, width);
  for (size_t at = 0; at < text.size();) {
    size_t end = at + 1;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
    if (!writer.text(text.substr(at, end - at))) break;
    at = end;
  }
  return std::string(writer.finish());
}

TEST(UnicodeDisplay, RunsAreShownAsTheirCharactersAre) {
  constexpr unsigned kSeed = 5;
  std::mt19937 random(kSeed);
  const std::string_view pieces[] = {"a", "word",    " ",  "\t", "\n", "\r\n",
                                     "é", "e\u0301", "東", "x",  "  ", "longerword"};
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (size_t n = random() % 40; n != 0; --n) text += pieces[random() % std::size(pieces)];
    const size_t most = random() % 2 ? 1 + random() % 60 : 1000;
    const int width = static_cast<int>(random() % 20);
    const std::string shown = wholeText(text, most, width);
    ASSERT_EQ(shown, byCharacters(text, most, width))
        << "seed " << kSeed << ", width " << width << ", at most " << most << ": " << text;
    ASSERT_LE(shown.size(), most);
  }
  EXPECT_EQ(wholeText("one two three four", 100, 8), "one two\nthree\nfour\n");
  EXPECT_EQ(wholeText("unbreakable word", 100, 5), "unbreakable\nword\n");
}

}  // namespace
}  // namespace veska::test
