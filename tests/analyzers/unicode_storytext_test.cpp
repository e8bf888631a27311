// Asides: notes and text boxes that stand within words.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/storytext.h"

namespace veska::unicode {
namespace {

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
