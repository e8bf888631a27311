// Office documents of OOXML in the Unicode mode.

#include <gtest/gtest.h>

#include "analyzers/unicode/sheetnumbers.h"
#include "tests/analyzers/documenttext.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using unicode::Outcome;

struct Target {
  std::string id;
  std::string type;
  std::string part;
};

std::string relations(const std::vector<Target>& targets) {
  std::string xml = "<?xml version='1.0'?><Relationships>";
  for (const Target& t : targets)
    xml +=
        "<Relationship Id='" + t.id + "' Type='http://x/" + t.type + "' Target='" + t.part + "'/>";
  return xml + "</Relationships>";
}

std::string package(const std::string& mainPart, std::vector<ZipMember> parts) {
  std::vector<ZipMember> all = {
      {"[Content_Types].xml", "<Types/>"},
      {"_rels/.rels", relations({{"1", "officeDocument", mainPart},
                                 {"2", "core-properties", "docProps/core.xml"}})}};
  all.insert(all.end(), parts.begin(), parts.end());
  return zipArchive(all);
}

std::string word(const std::string& body) {
  return package("word/document2.xml", {{"word/document2.xml", "<w:document><w:body>" + body +
                                                                   "</w:body></w:document>"}});
}

std::string run(const std::string& text) { return "<w:r><w:t>" + text + "</w:t></w:r>"; }

TEST(UnicodeWord, KeepsWordsWholeAndParagraphsApart) {
  const std::string cell = "<w:tc><w:p>" + run("c1") + "</w:p><w:p>" + run("c2") + "</w:p></w:tc>";
  const std::pair<std::string, std::string> cases[] = {
      {"<w:p>" + run("caf") + "<w:proofErr/>" + run("é &amp; co") + "</w:p><w:p/><w:p>" + run("b") +
           "</w:p>",
       "café & co\n\nb\n"},
      {"<w:p><w:r><w:t>a</w:t><w:tab/><w:t>b</w:t><w:br/><w:t>c</w:t><w:noBreakHyphen/><w:t>d"
       "</w:t></w:r></w:p>",
       "a b\nc\u2011d\n"},
      {"<w:tbl><w:tr>" + cell + "<w:tc><w:p>" + run("d") + "</w:p></w:tc></w:tr><w:tr>" + cell +
           "</w:tr></w:tbl><w:p>" + run("e") + "</w:p>",
       "c1\nc2 d\nc1\nc2\n\ne\n"},
      {"<w:p>a<w:del><w:r><w:delText>x</w:delText><w:t>y</w:t></w:r></w:del><w:ins>" + run("in") +
           "</w:ins><w:moveFrom>" + run("z") +
           "</w:moveFrom><w:r><w:instrText>PAGE</w:instrText>"
           "</w:r>" +
           run("side") + "</w:p>",
       "inside\n"},
      {"<w:p>" + run("wo") + "<w:r><mc:AlternateContent><mc:Choice><w:txbxContent><w:p>" +
           run("box") + "</w:p></w:txbxContent></mc:Choice><mc:Fallback><w:txbxContent><w:p>" +
           run("box") + "</w:p></w:txbxContent></mc:Fallback></mc:AlternateContent></w:r>" +
           run("rd") + "</w:p>",
       "word\n\nbox\n"},
      {"<w:p><w:pPr><w:rPr><w:vanish/></w:rPr></w:pPr><w:r><w:rPr><w:vanish/></w:rPr><w:t>no</w:t>"
       "</w:r><w:r><w:rPr><w:vanish w:val='0'/></w:rPr><w:t>yes</w:t></w:r></w:p>",
       "yes\n"},
      {"<ns0:p><ns0:r><ns0:t>other prefix</ns0:t></ns0:r></ns0:p>", "other prefix\n"},
      {"<w:p><w:r><w:t>a</w:t><w:sym w:char='F0A7'/><w:sym w:char='03B1'/></w:r></w:p>", "a α\n"},
  };
  for (const auto& [body, text] : cases) {
    EXPECT_EQ(readDocument(word(body), "a.docx").text, text) << body;
    EXPECT_EQ(shown(word(body), "attachment"), text) << body;
  }
}

TEST(UnicodeWord, ReadsPropertiesNotesHeadersAndCharts) {
  const std::string bytes = package(
      "word/document.xml",
      {{"docProps/core.xml",
        "<cp:coreProperties><dc:title>T</dc:title><dc:creator>A</dc:creator><cp:revision>7"
        "</cp:revision><cp:keywords>K</cp:keywords></cp:coreProperties>"},
       {"word/document.xml", "<w:p>" + run("body") + "</w:p>"},
       {"word/_rels/document.xml.rels", relations({{"1", "comments", "comments.xml"},
                                                   {"2", "header", "/word/header1.xml"},
                                                   {"3", "footnotes", "footnotes.xml"},
                                                   {"4", "chart", "charts/chart1.xml"},
                                                   {"5", "image", "media/i.png"}})},
       {"word/header1.xml", "<w:hdr><w:p>" + run("head") + "</w:p></w:hdr>"},
       {"word/footnotes.xml", "<w:footnote><w:p>" + run("note") + "</w:p></w:footnote>"},
       {"word/comments.xml",
        "<w:comment w:author='X'><w:p>" + run("remark") + "</w:p></w:comment>"},
       {"word/charts/chart1.xml",
        "<c:chart><a:p><a:r><a:t>chart</a:t></a:r></a:p><c:strCache><c:pt><c:v>one</c:v></c:pt>"
        "<c:pt><c:v>two</c:v></c:pt></c:strCache><c:numCache><c:pt><c:v>3</c:v></c:pt>"
        "</c:numCache></c:chart>"}});
  EXPECT_EQ(readDocument(bytes, "a.docm").text,
            "T\nA\nK\n\nbody\n\nhead\n\nnote\n\nremark\n\nchart\none two\n");
}

TEST(UnicodeWord, EncryptionAndDamageAreTold) {
  std::string compound("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8);
  compound.resize(1536, '\0');
  compound[30] = 9;
  compound[48] = 1;
  EXPECT_EQ(readDocument(compound, "old.docx").outcome, Outcome::kDamaged);
  for (size_t i = 0; i < 16; ++i) compound[1024 + 128 + 2 * i] = "EncryptedPackage"[i];
  EXPECT_EQ(readDocument(compound, "a.docx").outcome, Outcome::kNeedsPassword);
  EXPECT_EQ(readDocument(zipArchive({{"x.txt", "another archive"}}), "a.docx").text,
            "x.txt\n\nanother archive\n");
  EXPECT_EQ(readDocument("no package", "a.docx").text, "no package\n");
  const std::string text(100'000, 'w');
  EXPECT_EQ(readDocument(word("<w:p>" + run("first " + text) + "</w:p>"), "a.docx",
                         {.maxExpanded = 70'000})
                .outcome,
            Outcome::kLimited);
}

std::string workbook(const std::string& sheet, const std::string& strings,
                     const std::string& properties = {}) {
  return package(
      "xl/workbook.xml",
      {{"xl/worksheets/s1.xml", "<worksheet><sheetData>" + sheet + "</sheetData></worksheet>"},
       {"xl/worksheets/s2.xml", "<worksheet><sheetData><row><c><v>2</v></c></row></sheetData>"},
       {"xl/worksheets/_rels/s1.xml.rels",
        relations({{"1", "comments", "../comments1.xml"}, {"2", "drawing", "../drawings/d.xml"}})},
       {"xl/comments1.xml",
        "<comments><authors><author>X</author></authors><comment><text><r><t>rem</t></r><r><t>ark"
        "</t></r></text></comment></comments>"},
       {"xl/drawings/d.xml", "<xdr:sp><a:p><a:r><a:t>shape</a:t></a:r></a:p></xdr:sp>"},
       {"xl/workbook.xml", "<workbook>" + properties +
                               "<sheets><sheet name='Second' r:id='b'/><sheet name='First' "
                               "r:id='a'/></sheets></workbook>"},
       {"xl/_rels/workbook.xml.rels", relations({{"a", "worksheet", "worksheets/s1.xml"},
                                                 {"b", "worksheet", "worksheets/s2.xml"},
                                                 {"c", "sharedStrings", "sharedStrings.xml"},
                                                 {"d", "styles", "styles.xml"}})},
       {"xl/styles.xml",
        "<styleSheet><numFmts><numFmt numFmtId='164' formatCode='dd/mm/yyyy'/></numFmts>"
        "<cellStyleXfs><xf numFmtId='9'/></cellStyleXfs><cellXfs><xf numFmtId='0'/>"
        "<xf numFmtId='164'/><xf numFmtId='10'/></cellXfs></styleSheet>"},
       {"xl/sharedStrings.xml", "<sst>" + strings + "</sst>"}});
}

TEST(UnicodeSheet, ReadsSheetsInOrderWithWhatCellsShow) {
  const std::string strings =
      "<si><t>plain</t></si><si/><si><r><t>ri</t></r><r><t>ch</t></r><rPh><t>x</t></rPh></si>"
      "<si><t>a_x000D_b_xZZ_</t></si>";
  const std::string sheet =
      "<row><c t='s'><v>0</v></c><c t='s'><v>2</v></c><c t='s'><v>1</v></c><c t='s'><v>99</v></c>"
      "<c t='s'><v>3</v></c></row>"
      "<row><c t='inlineStr'><is><r><t>in</t></r><r><t>line</t></r></is></c><c t='str'><f>A1</f>"
      "<v>result</v></c><c t='e'><v>#REF!</v></c><c t='b'><v>1</v></c></row>"
      "<row><c s='1'><v>44197</v></c><c s='2'><v>0.125</v></c><c><v>0.10000000000000001</v></c>"
      "<c/><c s='0'><v>1E3</v></c></row>";
  EXPECT_EQ(readDocument(workbook(sheet, strings), "a.xlsx").text,
            "Second\n\n2\n\nFirst\n\nplain rich a b_xZZ_\ninline result TRUE\n"
            "2021-01-01 12.50% 0.1 1000\n\nremark\n\nshape\n");
  EXPECT_NE(readDocument(workbook(sheet, strings, "<workbookPr date1904='1'/>"), "x")
                .text.find("2025-01-02"),
            std::string::npos);
}

// A long string, told of by each of many cells, counts as often as it is shown.
TEST(UnicodeSheet, BoundsWhatSharedStringsExpandTo) {
  std::string sheet = "<row>";
  for (int i = 0; i < 1000; ++i) sheet += "<c t='s'><v>0</v></c>";
  const std::string bytes =
      workbook(sheet + "</row>", "<si><t>" + std::string(10'000, 'x') + "</t></si>");
  const DocumentText document = readDocument(bytes, "a.xlsx", {.maxExpanded = 1 << 20});
  EXPECT_EQ(document.outcome, Outcome::kLimited);
  EXPECT_LT(document.text.size(), size_t{1} << 20);
}

TEST(UnicodeSheet, ShowsNumbersByTheirFormats) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"12.5", "#,##0.00", "12.50"},
      {"0.2", "0%", "20%"},
      {"1", "d.m.yy", "1900-01-01"},
      {"61", "yyyy-mm-dd", "1900-03-01"},
      {"44197.75", "dd/mm/yyyy hh:mm", "2021-01-01 18:00"},
      {"1.5", "h:mm", "12:00"},
      {"1.5", "[h]:mm", "36:00"},
      {"5", "[Red]0.0;[Blue]yyyy", "5.0"},
      {"7", "mmm", "1900-01-07"},
      {"99999999", "yyyy", "99999999"},
      {"0.333", "# ?/?", "0.333"},
      {"1e400", "0.00", "1e400"},
  };
  for (const auto& [value, format, shown] : cases)
    EXPECT_EQ(unicode::showNumber(value, unicode::parseNumberFormat(format), false), shown)
        << value << ' ' << format;
}

TEST(UnicodeSlides, ComeAsPresentedWithNotesAndTables) {
  const auto slide = [](const std::string& text) {
    return "<p:sld><p:sp><p:txBody><a:p><a:r><a:t>" + text +
           "</a:t></a:r></a:p></p:txBody></p:sp></p:sld>";
  };
  const std::string table =
      "<a:tbl><a:tr><a:tc><a:p><a:r><a:t>x</a:t></a:r></a:p></a:tc><a:tc><a:p><a:r><a:t>y</a:t>"
      "</a:r></a:p></a:tc></a:tr></a:tbl>";
  const std::string bytes = package(
      "ppt/presentation.xml",
      {{"ppt/slides/slide1.xml", slide("la</a:t></a:r><a:r><a:t>st")},
       {"ppt/slides/slide2.xml", slide("first") + table},
       {"ppt/slides/slide3.xml", slide("not shown")},
       {"ppt/slides/_rels/slide2.xml.rels", relations({{"1", "notesSlide", "../notes/n.xml"},
                                                       {"2", "slideLayout", "../layout.xml"},
                                                       {"3", "comments", "../comments/c.xml"}})},
       {"ppt/notes/n.xml",
        "<p:notes><a:p><a:r><a:t>note</a:t></a:r><a:fld type='slidenum'><a:t>2"
        "</a:t></a:fld></a:p></p:notes>"},
       {"ppt/comments/c.xml", "<p:cmLst><p:cm><p:text>remark</p:text></p:cm></p:cmLst>"},
       {"ppt/layout.xml", slide("Click to edit")},
       {"ppt/presentation.xml",
        "<p:presentation><p:sldIdLst><p:sldId id='256' r:id='r2'/><p:sldId id='257' r:id='r1'/>"
        "<p:sldId id='258' r:id='lost'/></p:sldIdLst></p:presentation>"},
       {"ppt/_rels/presentation.xml.rels",
        relations({{"r1", "slide", "slides/slide1.xml"}, {"r2", "slide", "slides/slide2.xml"}})}});
  const std::string text = readDocument(bytes, "a.pptx").text;
  EXPECT_EQ(text, "first\n\nx\ny\n\nnote\n\nremark\n\nlast\n");
  EXPECT_EQ(readDocument(bytes, "a").text, text);
}

}  // namespace
}  // namespace veska::test
