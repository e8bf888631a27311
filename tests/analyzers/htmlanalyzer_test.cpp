#include "api/lowercase.h"
#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

using Html = DisplayTest;

// The last ten bytes of a block are carried away.
std::string padded(std::string_view text) { return std::string(text) + "0123456789"; }

struct Case {
  std::string_view in;
  std::string_view out;
};

TEST_F(Html, IndexesDecodedCharacters) {
  const Case cases[] = {
      {"caf&#233; ", "caf\xE9 "},
      {"caf\xC3\xA9 ", "caf\xE9 "},
      {"a\xE2\x82\254b ", "a\xE2 b "},  // longer sequences are not decoded
      {"caf&eacute;s ", "caf s "},
      {"x&#0321;y ", "xBy "},  // 321 modulo 255
      {"x&#99999999999;y ", "x y "},
      {"x&\"q;y ", "x y "},  // looked up, unknown
      {"x&;y ", "x y "},
      {"x&abcdefghijklmnopqrstuvwxyz01234>y z ", "x y z "},  // 31 bytes at most
      {"<b>x</b> ", "b x "},
      {"x&#233", ""},
      {"x\xC3", ""},
  };
  for (const Case& c : cases) {
    std::string expected(c.out);
    for (char& byte : expected) byte = static_cast<char>(foldByte(byte));
    EXPECT_EQ(wordsOf("html", std::string(c.in)), expected) << c.in;
  }
}

TEST_F(Html, LooksUpNamesThatBeginBelowLetters) {
  const IndexPtr index = newIndex();
  index->entities["\x21x"] = 'q';
  index->entities["\xE9"] = 'r';
  std::string block = "a&\x21x;b c&\xE9;d ";
  index->analyzerNamed("html")->indexBuffer(block.data(), block.size(), 100, true);
  EXPECT_EQ(words(index), "aqb crd ");
}

TEST_F(Html, ShowsTextWithoutTags) {
  const IndexPtr index = newIndex();
  CFileAnalyzer& html = *index->analyzerNamed("html");
  const Case cases[] = {
      {"a<p>b", "a\nb"},
      {"a</p>b<br>c<tr>d<LI>e", "a\nb\nc\nd\ne"},
      {"a<pre>b", "a\nb"},
      {"x<b>y</b>z w", "xyz\nw"},
      {"x<b>y</b> z w", "xy z\nw"},
      {"x<b> y</b>.z w", "x y .z\nw"},
      {"x<td>y</td>z w", "x y z\nw"},  // other tags keep words apart
      {"x<body>y w", "x y\nw"},
      {"x<hr>\r\n\ty w", "x y\nw"},
      {"a<SCRIPT x=y>z</Script >b c", "a b\nc"},
      {"a\tb\n\n  c d", "a b c\nd"},
      {"&Iuml;&ccedil;&cedil;&nbsp;x y", "\xCE \xE7 x\ny"},
      {"a&#x41;b c", "a b\nc"},
      {"a&#65;b c", "aAb\nc"},
      {"a&#321;b c", "aAb\nc"},      // 321 modulo 256
      {"a\xC3\x83z c", "a\xFA\nc"},  // decodes to a lead byte, which takes the next along
      {"&atilde;x y", "\nx\ny"},
  };
  for (const Case& c : cases) EXPECT_EQ(strip(html, padded(c.in)), c.out) << c.in;
}

TEST_F(Html, ShowsTagsWhenAsked) {
  const IndexPtr index = newIndex();
  EXPECT_EQ(strip(*index->analyzerNamed("html"), padded("a<p>&amp;<script>b c"), 0, false),
            "a<p>&<script>b\nc");
}

// Tags, entities and scripts may be cut by a block's end anywhere.
TEST_F(Html, ShowsTheSameWhereverBlocksEnd) {
  const IndexPtr index = newIndex();
  CFileAnalyzer& html = *index->analyzerNamed("html");
  const std::string page = padded("<p>Caf&eacute;<script>x</script><li>m<b>or</b>e<p>");
  for (size_t before = 65460; before < 65540; ++before) {
    const std::string start(before, 'x');
    const std::string shown = fill(html, "<p>" + start + page);
    EXPECT_EQ(shown.substr(0, start.size() + 1), "\n" + start) << before;
    // A block's own last separator ends a line too, and one that begins a block goes.
    std::string rest;
    for (const char c : shown.substr(start.size() + 1)) {
      const char shownByte = c == ' ' ? '\n' : c;
      if (shownByte != '\n' || !rest.ends_with('\n')) rest += shownByte;
    }
    EXPECT_EQ(rest, "\nCaf\xE9\nmore\n") << before;
  }
}

}  // namespace
}  // namespace veska::test
