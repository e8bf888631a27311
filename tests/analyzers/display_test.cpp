#include <random>

#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

using Display = DisplayTest;

struct Case {
  std::string_view in;
  std::string_view out;
};

TEST_F(Display, TurnsABlockIntoText) {
  const IndexHandle index = newIndex();
  using namespace std::string_view_literals;
  const Case cases[] = {
      {"one two three", "one two\nthree"},  // the last separator ends a line
      {"word", "\nord"},                    // without any, the first byte does
      {"  a   b\t c ", "a b c\n"},
      {"a\r\nb", "a\nb"},
      {"a\rb\n\nc", "a\nb\n\nc"},
      {"a\r", "a\n"},
      {"a\xE3"
       "b",
       "a\nb"},
      {"a \n b", "a \nb"},
      // text in 16-bit units; a second zero separates
      {"a\0b\0\n\0c\0"sv, "ab\nc"},
      {"a\0\0b c"sv, "a b\nc"},
      // non-letters that cannot be shown go with their neighbours, but not across letters
      {"one ### two x", "one two\nx"},
      {"one#.# two x", "one two\nx"},
      {"#one. two", "#one.\ntwo"},
      {"one.# x #", "one x\n#"},
      {"a\n## b", "a\nb"},
      // more than three high bytes in a row that cannot be shown, and what is high before them
      {"a\x81\x82\x83 b c", "a b\nc"},
      {"a\xA9\x81\x82\x83\x84\x85z b", "az\nb"},
      {"a\x91\x92\x93\x94"
       "b c",
       "a b\nc"},
      {"\x01\x02", ""},
      {"", ""},
  };
  CFileAnalyzer& generic = *index->analyzerNamed("generic");
  for (const Case& c : cases) EXPECT_EQ(strip(generic, std::string(c.in)), c.out) << c.in;
  std::string block = "\x8A x";
  EXPECT_EQ(strip(*index->analyzerNamed("macroman"), block), "\xE4\nx");
}

TEST_F(Display, CopiesBlanksThatAreViewable) {
  const IndexHandle index = newIndex();
  vidxSetValidViewableMask(index.get(), ' ', true);
  vidxSetValidViewableMask(index.get(), '\t', true);
  EXPECT_EQ(strip(*index->analyzerNamed("generic"), " a\t b\x01 c"), " a  b \nc");
}

TEST_F(Display, CountsTheLineByteAmongHighBytesThatCannotBeShown) {
  const IndexHandle index = newIndex();
  vidxSetValidViewableMask(index.get(), 0xE3, false);
  EXPECT_EQ(strip(*index->analyzerNamed("generic"),
                  "a\x81\x82\xE3\x83"
                  "b c"),
            "a\nb\nc");
}

TEST_F(Display, WrapsAtTheLastSpace) {
  const IndexHandle index = newIndex();
  CFileAnalyzer& generic = *index->analyzerNamed("generic");
  EXPECT_EQ(strip(generic, "aaa bbb ccc ddd", 7), "aaa bbb\nccc\nddd");
  EXPECT_EQ(strip(generic, "aaa bbb ccc", 5), "aaa\nbbb\nccc");
  EXPECT_EQ(strip(generic, "aaaaaaaaaa bb cc", 4), "aaaaaaaaaa\nbb\ncc");
  EXPECT_EQ(strip(generic, "aa\nbb cc dd", 5), "aa\nbb cc\ndd");
  EXPECT_EQ(strip(generic, "aaaaaaaaaa", 4), "\naaaaaaaaa");
}

TEST_F(Display, StopsWhereTheRoomEnds) {
  const IndexHandle index = newIndex();
  CFileAnalyzer& generic = *index->analyzerNamed("generic");
  const std::string text = "ab cd ef gh";
  for (unsigned long room = 1; room < 14; ++room) {
    const std::string out = strip(generic, text, 0, true, room);
    EXPECT_EQ(out.size(), std::min<size_t>(room - 1, text.size()));
  }
  char in[] = "abc";
  char out = 'x';
  int state = 0;
  EXPECT_EQ(generic.stripBuffer(in, 3, &out, 0, 0, true, true, &state), 0u);
  EXPECT_EQ(out, 'x');
}

TEST_F(Display, FillsNoMoreThanAsked) {
  const IndexHandle index = newIndex();
  CFileAnalyzer& generic = *index->analyzerNamed("generic");
  std::string text;
  for (int i = 0; text.size() < 200000; ++i) text += "word" + std::to_string(i) + "\n";
  EXPECT_EQ(fill(generic, text), text);
  for (const unsigned long maxBytes : {0ul, 1ul, 65534ul, 65536ul, 199999ul})
    EXPECT_EQ(fill(generic, text, maxBytes), text.substr(0, maxBytes)) << maxBytes;
  EXPECT_EQ(fill(generic, ""), "");
}

TEST_F(Display, ReportsWhatCannotBeOpened) {
  const IndexHandle index = newIndex();
  CFileAnalyzer& generic = *index->analyzerNamed("generic");
  for (const std::string& missing : {path("missing"), docs(), std::string("/dev/null")}) {
    thrownReports().clear();
    EXPECT_THROW(generic.fillDisplayBuffer(missing.c_str(), 0, 100, 0, false), int);
    EXPECT_EQ(thrownReports(), "CannotOpenContentsFile:" + missing + ";");
  }
  writeFile(path("shown"), "x");
  thrownReports().clear();
  EXPECT_THROW(generic.fillDisplayBuffer(path("shown").c_str(), 0, ~0ul, 0, false), int);
  EXPECT_EQ(thrownReports(), "NoMemory:;");
}

// Every hook of every kind of text gets blocks of any bytes, cut anywhere, in buffers without a
// byte to spare. The checks are those of the sanitizers and of strip() itself.
TEST_F(Display, TakesAnyBytesCutAnywhere) {
  const IndexHandle index = newIndex();
  constexpr unsigned kSeed = 4711;
  std::mt19937 random(kSeed);
  const std::string_view pieces[] = {
      "\\'",     "\\'e",      "\\par",   "\\fonttbl ", "\\b0 ", "{",   "}",
      "\\*",     "\\",        "\\listx", "&",          ";",     "&#1", "&eacute;",
      "<script", "</script>", "<b>",     "</b>",       "<p",    ">",   "<li",
      "\xC3",    "\xC0\x80",  "word ",   "\r",         "\n",    " ",   "\x81\x82"};
  for (int round = 0; round < 400; ++round) {
    std::string block;
    for (size_t i = random() % 30; i-- > 0;) {
      block += pieces[random() % std::size(pieces)];
      if (random() % 4 == 0) block += static_cast<char>(random() % 256);
    }
    for (const char* name : {"generic", "html", "rtf", "macroman", "dosoem"}) {
      CFileAnalyzer& analyzer = *index->analyzerNamed(name);
      for (size_t length = 0; length <= block.size(); length += 1 + random() % 3) {
        const auto exact = std::make_unique<char[]>(length);
        std::memcpy(exact.get(), block.data(), length);
        const auto out = std::make_unique<char[]>(length + 1);
        int state = static_cast<int>(random() % 5) - 2;
        const unsigned long bytes =
            analyzer.stripBuffer(exact.get(), length, out.get(), length + 1,
                                 static_cast<int>(random() % 12), random() % 2 == 0, true, &state);
        ASSERT_EQ(std::strlen(out.get()), bytes) << "seed " << kSeed << " round " << round;
        std::memcpy(exact.get(), block.data(), length);
        analyzer.indexBuffer(exact.get(), length, 100, true);
      }
    }
  }
}

}  // namespace
}  // namespace veska::test
