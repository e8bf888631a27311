// The display writer, and on its way there the notes and text boxes that stand within words.

#include <gtest/gtest.h>

#include <algorithm>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/storytext.h"
#include "tests/analyzers/documenttext.h"
#include "tests/support/generated.h"

namespace veska::unicode {
namespace {

using test::shown;

TEST(UnicodeDisplay, WrapsByColumnsAndCutsNoCharacter) {
  EXPECT_EQ(shown("one two three\n", "a.txt", {.lineWidth = 7}), "one two\nthree\n");
  EXPECT_EQ(shown("東京東京東", "a.txt", {.lineWidth = 6}), "東京東\n京東\n");
  EXPECT_EQ(shown("ééé longerword x", "a.txt", {.lineWidth = 5}), "ééé\nlongerword\nx\n");
  for (size_t most = 0; most < 12; ++most) {
    const std::string text = shown("aé東\U0001F600z e\u0301", "a.txt", {.maxBytes = most});
    EXPECT_LE(text.size(), most);
    EXPECT_EQ(validUtf8Prefix(text), text.size()) << most;
  }
}

TEST(UnicodeDisplay, KeepsLinesAndIndentsAndDropsControls) {
  EXPECT_EQ(shown("a  b\r\n\r\n\r\n\n  c\td\re\x1B[31mf", "a.txt"), "a b\n\n  c d\ne [31mf\n");
  EXPECT_EQ(shown("e\u0301 so\u00ADft \u202Ex\u200By", "a.txt"), "é soft xy\n");
}

// The writer takes plain text by runs. It must not matter how the text comes in.

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
  test::Generator generate(kSeed);
  const std::string_view pieces[] = {"a", "word",    " ",  "\t", "\n", "\r\n",
                                     "é", "e\u0301", "東", "x",  "  ", "longerword"};
  for (int round = 0; round < 3000; ++round) {
    const std::string text = generate.anyOf(pieces, 39);
    const size_t most = generate.below(2) ? 1 + generate.below(60) : 1000;
    const int width = static_cast<int>(generate.below(20));
    const std::string whole = wholeText(text, most, width);
    ASSERT_EQ(whole, byCharacters(text, most, width))
        << "seed " << kSeed << ", width " << width << ", at most " << most << ": " << text;
    ASSERT_LE(whole.size(), most);
  }
  EXPECT_EQ(wholeText("abcd e", 4, 4), "abcd") << "no room for the blank";
}

TEST(UnicodeStory, AsidesFollowTheirParagraph) {
  DisplayWriter writer(1000, 0);
  StoryText story(writer);
  story.add("wo");
  story.beginAside();
  story.add("no");
  story.beginAside();
  story.add("inner");
  story.endAside();
  story.add("te");
  story.endAside();
  story.endAside();  // one too many
  story.add("rd");
  story.boundary(Break::kLine);
  story.add("line");
  story.boundary(Break::kParagraph);
  story.add("next");
  story.finish();
  EXPECT_EQ(writer.finish(), "word\nline\n\nno\n\ninner\n\nte\n\nnext\n");
}

class CountingSink : public TextSink {
 public:
  bool text(std::string_view utf8) override {
    bytes += utf8.size();
    longest = std::max(longest, utf8.size());
    return bytes < most;
  }
  bool boundary(Break) override { return true; }

  size_t bytes = 0;
  size_t longest = 0;
  size_t most = SIZE_MAX;
};

// No aside grows without bound, nor is any of it lost.
TEST(UnicodeStory, KeepsNoMoreThanABound) {
  const std::string words(1000, 'w');
  CountingSink sink;
  StoryText story(sink);
  story.beginAside();
  for (int i = 0; i < 5000; ++i) story.add(words);
  story.finish();
  EXPECT_EQ(sink.bytes, 5'000'000U);
  EXPECT_LT(sink.longest, size_t{2} << 20);
}

TEST(UnicodeStory, StopsWhenTheSinkHasEnough) {
  CountingSink sink;
  sink.most = 100'000;
  StoryText story(sink);
  int added = 0;
  while (added < 1000 && story.add(std::string(1000, 'w'))) ++added;
  EXPECT_LT(added, 200);
}

}  // namespace
}  // namespace veska::unicode
