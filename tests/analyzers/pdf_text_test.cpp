// From content streams to text: characters, words, lines, reading order.

#include <gtest/gtest.h>

#include "analyzers/pdf/righttoleft.h"
#include "analyzers/pdf/unicode.h"
#include "tests/analyzers/pdfbuilder.h"

namespace veska::test {
namespace {

struct Case {
  const char* what;
  const char* contents;
  const char* expected;
};

// In Helvetica at size 10 a letter is about 5 units wide.
TEST(PdfText, GeometryCutsAndJoinsWords) {
  const Case cases[] = {
      {"blanks", "BT /F 10 Tf 50 700 Td (one two) Tj ET", "one two\n"},
      {"gaps", "BT /F 10 Tf 50 700 Td [(left)-300(right)] TJ ET", "left right\n"},
      {"moves", "BT /F 10 Tf 50 700 Td (to) Tj 7.8 0 Td (day) Tj 40 0 Td (far) Tj ET",
       "today far\n"},
      {"matrices", "BT /F 1 Tf 10 0 0 10 50 700 Tm (big) Tj 10 0 0 10 50 688 Tm (next) Tj ET",
       "big\nnext\n"},
      {"character spacing", "BT /F 10 Tf 3 Tc 50 700 Td (WIDE) Tj ET", "WIDE\n"},
      {"horizontal scale", "BT /F 10 Tf 50 Tz 50 700 Td (nar) Tj 7 0 Td (row) Tj ET", "narrow\n"},
      {"quotes", "BT /F 10 Tf 12 TL 50 700 Td (one) Tj (two) ' 1 0 (three) \" ET",
       "one\ntwo\nthree\n"},
      {"another size", "BT /F 10 Tf 50 700 Td (x) Tj /F 7 Tf 5 3 Td (2) Tj ET", "x2\n"},
      {"drawn twice", "BT /F 10 Tf 50 700 Td (Bold) Tj 0.3 0 Td (Bold) Tj ET", "Bold\n"},
      {"out of order", "BT /F 10 Tf 100 700 Td (world) Tj -25 0 Td (hello) Tj ET", "hello world\n"},
      {"upwards", "BT /F 10 Tf 0 1 -1 0 300 100 Tm (up) Tj 0 1 -1 0 312 100 Tm (right) Tj ET",
       "up\nright\n"},
      {"outside the page", "BT /F 10 Tf 50 900 Td (hidden) Tj 0 -200 Td (shown) Tj ET", "shown\n"},
      {"saved states", "q BT /F 10 Tf 50 700 Td (a) Tj ET Q BT (none) Tj ET", "a\n"},
      {"inline images", "BI /W 2 /H 1 ID \x01 EI(\xFF EI BT /F 10 Tf 50 700 Td (after) Tj ET",
       "after\n"},
      {"invisible text", "BT /F 10 Tf 3 Tr 50 700 Td (scanned) Tj ET", "scanned\n"},
      {"an initial", "BT /F 30 Tf 50 680 Td (T) Tj /F 10 Tf 19 14 Td (he start) Tj ET",
       "The start\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(extractPage(c.contents), c.expected) << c.what;
}

TEST(PdfText, DividedWordsAreWhole) {
  const Case cases[] = {
      {"next line", "BT /F 10 Tf 50 700 Td (an exam-) Tj 0 -12 Td (ple here) Tj ET",
       "an example\nhere\n"},
      {"capitals", "BT /F 10 Tf 50 700 Td (WAR-) Tj 0 -12 Td (RANTY) Tj ET", "WARRANTY\n"},
      {"a name", "BT /F 10 Tf 50 700 Td (Jean-) Tj 0 -12 Td (Paul) Tj ET", "Jean-\nPaul\n"},
      {"columns line by line",
       "BT /F 10 Tf 50 700 Td (left ex-) Tj 150 0 Td (right fi-) Tj -150 -12 Td (ample) Tj 150 0 "
       "Td "
       "(nal) Tj ET",
       "left example right final\n"},
      {"soft hyphen", "BT /F 10 Tf 50 700 Td (so\\255) Tj 0 -12 Td (ft) Tj ET", "soft\n"},
  };
  for (const Case& c : cases) EXPECT_EQ(extractPage(c.contents), c.expected) << c.what;
}

TEST(PdfText, BlocksAreReadFromTheTop) {
  EXPECT_EQ(
      extractPage("BT /F 10 Tf 50 500 Td (body text) Tj ET BT /F 10 Tf 50 750 Td (header) Tj ET "
                  "BT /F 10 Tf 300 500 Td (second column) Tj ET"),
      "header\nbody text second column\n");
}

TEST(PdfText, AccentsJoinTheirLetters) {
  // The way of typesetters without accented letters: the accent first, the letter drawn over it.
  EXPECT_EQ(extractPage("BT /F 10 Tf 50 700 Td [(caf)-110(\\264)440(e)] TJ ET"), "caf\xE9\n");
  EXPECT_EQ(extractPage("BT /F 10 Tf 50 700 Td [(fa)-50(c)420(\\270)-80(ade)] TJ ET"),
            "fa\347ade\n");
}

TEST(PdfText, FormsAnnotationsAndMarks) {
  PdfBuilder builder = PdfBuilder::page(
      "/Fm Do /OC /Layer BDC BT /F 10 Tf 50 600 Td (hidden) Tj ET EMC "
      "/Span <</ActualText<FEFF0068006900680069>>> BDC BT /F 10 Tf 50 500 Td (%%) Tj ET EMC",
      "/XObject<</Fm 6 0 R>>/Properties<</Layer 8 0 R>>");
  builder.add(
      streamObject("/Subtype/Form/Matrix[1 0 0 1 50 0]", "BT /F 10 Tf 0 700 Td (in a form) Tj ET"));
  builder.add(streamObject("/Subtype/Form/BBox[0 0 50 10]/Resources<</Font<</F 5 0 R>>>>",
                           "BT /F 10 Tf 0 0 Td (field value) Tj ET"));
  builder.add("<</Type/OCG>>");
  builder.object(1) = "<</Pages 2 0 R/OCProperties<</D<</OFF[8 0 R]>>>>>>";
  builder.object(3).insert(2, "/Annots[<</Subtype/Widget/Rect[50 400 100 410]/AP<</N 7 0 R>>>>]");
  EXPECT_EQ(extract(builder.build()), "in a form\nhihi\nfield value\n\f");
}

// The text of a page whose font /F is the given dictionary; more: further objects, from 6 on.
std::string extractWithFont(std::string_view shown, std::string_view font,
                            std::initializer_list<std::string> more = {}) {
  PdfBuilder builder = PdfBuilder::page("BT /F 10 Tf 50 700 Td " + std::string(shown) + " Tj ET");
  builder.object(5) = font;
  for (const std::string& object : more) builder.add(object);
  return extract(builder.build());
}

TEST(PdfText, SimpleFontsSayWhatTheirCodesMean) {
  EXPECT_EQ(extractWithFont("(aAbcd)",
                            "<</Subtype/Type1/BaseFont/Times-Roman/Encoding<<"
                            "/Differences[97/eacute/fi/uni0041/f_l]>>>>"),
            "\351AfiAfl\n\f");
  EXPECT_EQ(extractWithFont("(\\212)", "<</Subtype/Type1/Encoding/MacRomanEncoding>>"), "\xE4\n\f");
  EXPECT_EQ(extractWithFont("(abg)", "<</Subtype/Type1/BaseFont/Symbol>>"), "   \n\f")
      << "Greek has no place in this character set";
  EXPECT_EQ(extractWithFont("(\\000\\001)",
                            "<</Subtype/Type3/FontMatrix[.1 0 0 .1 0 0]/FirstChar 0"
                            "/Widths[5 5]/Encoding<</Differences[0/a72/a105]>>>>"),
            "Hi\n\f");
  EXPECT_EQ(
      extractWithFont("(ab)", "<</Subtype/Type1/ToUnicode 6 0 R>>",
                      {streamObject("", "beginbfchar <61> <00660066> <62> <0078> endbfchar")}),
      "ffx\n\f");
  EXPECT_EQ(
      extractWithFont("(\\001)", "<</Subtype/Type1/FirstChar 1/Widths[500]/FontDescriptor 6 0 R>>",
                      {"<</FontFile 7 0 R>>",
                       streamObject("",
                                    "%!PS-AdobeFont\n/Encoding 256 array\ndup 1 /germandbls "
                                    "put\nreadonly def\ncurrentfile eexec")}),
      "\xDF\n\f");
}

TEST(PdfText, TrueTypeFontsAreReadBackwards) {
  // A character map of format 6 in the table for codes and one of format 4 for Unicode: code 1 is
  // glyph 3, which is "K".
  const std::string cmap(
      "\0\0\0\2"
      "\0\1\0\0\0\0\0\x14"
      "\0\3\0\1\0\0\0\x20"
      "\0\6\0\xC\0\0\0\1\0\1\0\3"
      "\0\4\0\x20\0\0\0\4\0\4\0\1\0\0\0K\xFF\xFF\0\0\0K\xFF\xFF\xFF\xB8\0\1\0\0\0\0",
      64);
  std::string font(
      "\0\1\0\0\0\1\0\0\0\0\0\0"
      "cmap\0\0\0\0\0\0\0\x1C\0\0\0\x40",
      28);
  font += cmap;
  EXPECT_EQ(extractWithFont("(\\001)",
                            "<</Subtype/TrueType/FirstChar 1/Widths[500]/FontDescriptor 6 0 R>>",
                            {"<</FontFile2 7 0 R>>", streamObject("", font)}),
            "K\n\f");
  EXPECT_EQ(extractWithFont("<0003>",
                            "<</Subtype/Type0/Encoding/Identity-H/DescendantFonts[<<"
                            "/FontDescriptor 6 0 R>>]>>",
                            {"<</FontFile2 7 0 R>>", streamObject("", font)}),
            "K\n\f");
}

TEST(PdfText, CompositeFontsUseTheirMaps) {
  EXPECT_EQ(extractWithFont("<000100020003>",
                            "<</Subtype/Type0/Encoding/Identity-H/ToUnicode 6 0 R"
                            "/DescendantFonts[<</DW 500/W[1[500 2000]3 9 400]>>]>>",
                            {streamObject("", "beginbfrange <0001> <0003> <0061> endbfrange")}),
            "abc\n\f");
  EXPECT_EQ(extractWithFont("<00480069>",
                            "<</Subtype/Type0/Encoding/UniGB-UCS2-H/DescendantFonts[<<>>]>>"),
            "Hi\n\f");
}

TEST(PdfUnicode, EveryCharacterHasItsClosestEquivalent) {
  const std::pair<std::u32string_view, std::string_view> cases[] = {
      {U"Aÿ\u20ACŠ", "A\xFF\x80\x8A"},
      {U"\uFB03\u0133", "ffiij"},
      {U"‘”—…", "\x91\x94\x97\x85"},
      {U"\u2010\u2212\u2032", "--'"},
      {U"łőřůżąęć", "loruzaec"},
      {U"ếẞ", "\xEA\xDF"},
      {U"е漢", "  "},
      {U"a\u00ADb\u0301c\u200B", "abc"},
      {U"\uFF26", "F"},
  };
  for (const auto& [text, expected] : cases) {
    std::string out;
    pdf::appendWindows1252(text, out);
    EXPECT_EQ(out, expected);
  }
}

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
