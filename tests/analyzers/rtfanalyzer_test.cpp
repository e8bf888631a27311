#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

using Rtf = DisplayTest;

// The last ten bytes of a block are carried away.
std::string padded(std::string_view text) { return std::string(text) + "0123456789"; }

TEST_F(Rtf, IndexesWordsAcrossControls) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"Caf\\'E9 ", "caf\xE9 "},
      {"Hel\\b lo ", "hello "},
      {"Hel\\fs24 lo ", "hel lo "},
      {"a\\b 12-3c ", "ac "},  // digits behind the blank go too
      {"a\\~b ", "a b "},
      {"a\\{b ", "a b "},
      {"a\\\\b c ", "ac "},  // the second backslash begins a control word
      {"a\\'zzb ", "ab "},   // 0, which goes as in text of 16-bit units
      {"a\\'4zb ", "a b "},
      {"{\\fonttbl Arial;} x ", "arial x "},
      {"ab\\", ""},
      {"ab\\'", ""},
      {"ab\\'e", ""},
      {"ab\\b0", ""},
  };
  for (const auto& [in, words] : cases) EXPECT_EQ(wordsOf("rtf", std::string(in)), words) << in;
}

TEST_F(Rtf, CarriesWhatABlocksEndCuts) {
  const IndexPtr index = newIndex();
  CFileAnalyzer& rtf = *index->analyzerNamed("rtf");
  struct Case {
    std::string_view in;
    std::string_view carried;
  };
  for (const Case& c : {Case{" \\", "\\"}, Case{" \\'", "\\'"}, Case{" \\'e", "\\'e"},
                        Case{" \\wor", "\\"}, Case{" \\b ", ""}, Case{" \\b0", ""}}) {
    std::string block(c.in);
    std::strcpy(index->pendingWord, "?");
    rtf.indexBuffer(block.data(), block.size(), 100, true);
    EXPECT_EQ(index->pendingWord, c.carried) << c.in;
  }
}

TEST_F(Rtf, ReadsMacintoshHeaders) {
  EXPECT_EQ(wordsOf("rtf", "{\\rtf1\\mac\\ansicpg1252 Caf\\'8e "), "caf\xE9 ");
  EXPECT_EQ(wordsOf("rtf", "1234567mac XXXXXXXXXXX \\'e9 "), "1234567mac xxxxxxxxxxx \xE8 ");
  EXPECT_EQ(wordsOf("rtf", "1234567mac X \\'e9 "), "1234567mac x \xE9 ");  // too short to tell
  const IndexPtr index = newIndex();
  CFileAnalyzer& rtf = *index->analyzerNamed("rtf");
  EXPECT_EQ(strip(rtf, padded("{\\rtf1\\mac \\'8e x")), "\xE9\nx");
  EXPECT_EQ(strip(rtf, padded("{\\rtf1\\ansi \\'e9 x")), "\xE9\nx");
}

TEST_F(Rtf, ShowsTheTextAlone) {
  const IndexPtr index = newIndex();
  CFileAnalyzer& rtf = *index->analyzerNamed("rtf");
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"one\\par\\b two", "one\nb\ntwo"},  // the byte behind the word goes whatever it is
      {"one\\pard two x", "onetwo\nx"},
      {"a\\'e9 b", "a\xE9\nb"},
      {"\\fs24a b c", "b\nc"},  // letters behind the number count as the word's
      {"\\li-720 a b", "a\nb"},
      {"{\\fonttbl{\\f0 Arial;}}a b", "a\nb"},
      {"{\\pictx z}a b", "za\nb"},  // another word
      {"{\\do x}{\\doc y}a b", "ya\nb"},
      {"{\\listtext 1.}{\\stylesheet x}{\\object y}a b", "a\nb"},
      {"{\\*\\generator X;}a b", "a\nb"},
      {"{\\pict \\{ }a b", "a\nb"},    // an escaped opening brace does not count
      {"{\\pict \\} x}a b", "xa\nb"},  // an escaped closing one does
      {"a\\{b\\}c\\\\d e", "a\\b\\c\\d\ne"},
      {"a\\~b c", "a ~b\nc"},
      {"a\r\nb\rc d", "abc\nd"},
      {"a{b}c d", "abc\nd"},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(strip(rtf, padded(in)), out) << in;
}

// A group, a control word and a brace may be cut by a block's end anywhere.
TEST_F(Rtf, ShowsTheSameWhereverBlocksEnd) {
  const IndexPtr index = newIndex();
  CFileAnalyzer& rtf = *index->analyzerNamed("rtf");
  for (size_t before = 65480; before < 65540; ++before) {
    const std::string lines = "\n" + std::string(before, 'x') + ".";
    const std::string shown =
        fill(rtf, lines + padded("{\\fonttbl {Arial}}Caf\\'e9\\par{\\b0 more}\n"));
    EXPECT_EQ(shown, lines + "Caf\xE9\nmore\n") << before;
  }
}

}  // namespace
}  // namespace veska::test
