// OpenDocument files, EPUB, FictionBook and RTF in the Unicode mode.

#include <gtest/gtest.h>

#include "tests/analyzers/documenttext.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using unicode::Outcome;

std::string odf(const std::string& kind, const std::string& body,
                const std::vector<ZipMember>& others = {}) {
  std::vector<ZipMember> members = {
      {"mimetype", "application/vnd.oasis.opendocument." + kind, false},
      {"content.xml", "<office:document-content><office:body><office:" + kind + ">" + body +
                          "</office:" + kind + "></office:body></office:document-content>"}};
  members.insert(members.end(), others.begin(), others.end());
  return zipArchive(members);
}

TEST(UnicodeOdf, KeepsWordsWholeAndParagraphsApart) {
  const std::pair<const char*, const char*> cases[] = {
      {"<text:h>Head</text:h><text:p>wo<text:span>rd</text:span>\n s<text:s text:c='9'/>t"
       "<text:tab/>u<text:line-break/>v</text:p>",
       "Head\n\nword s t u\nv\n"},
      {"<text:p>wo<text:note><text:note-citation>1</text:note-citation><text:note-body><text:p>note"
       "</text:p></text:note-body></text:note>rd</text:p>",
       "word\n\nnote\n"},
      {"<text:p>wo<office:annotation><dc:creator>X</dc:creator><dc:date>2021</"
       "dc:date><text:p>remark"
       "</text:p></office:annotation>rd<draw:frame><svg:title>alt</"
       "svg:title><draw:text-box><text:p>"
       "box</text:p></draw:text-box></draw:frame>s</text:p>",
       "words\n\nremark\n\nbox\n"},
      {"<text:tracked-changes><text:changed-region><text:deletion><text:p>gone</text:p>"
       "</text:deletion></text:changed-region></text:tracked-changes><text:p>a<text:change/>b"
       "</text:p>",
       "ab\n"},
      {"<text:p><text:ruby><text:ruby-base>base</text:ruby-base><text:ruby-text>top"
       "</text:ruby-text></text:ruby>end</text:p>",
       "baseend\n\ntop\n"},
  };
  for (const auto& [body, text] : cases) {
    EXPECT_EQ(readDocument(odf("text", body), "a.odt").text, text) << body;
    EXPECT_EQ(readDocument(odf("text", body), "a").text, text) << body;
    EXPECT_EQ(readDocument("<?xml version='1.0'?><office:document>" + std::string(body), "a").text,
              text);
  }
}

TEST(UnicodeOdf, ReadsSheetsWithoutBlowingThemUp) {
  const std::string sheet =
      "<table:table table:name='Prices'><table:table-row table:number-rows-repeated='1000000'>"
      "<table:table-cell table:number-columns-repeated='1000'><text:p>1.5</text:p>"
      "</table:table-cell><table:table-cell><text:p>a</text:p><text:p>b</text:p>"
      "</table:table-cell></table:table-row><table:table-row><table:table-cell/>"
      "<table:table-cell><text:p>c</text:p></table:table-cell></table:table-row></table:table>";
  EXPECT_EQ(readDocument(odf("spreadsheet", sheet), "a.ods").text, "Prices\n\n1.5 a\nb\nc\n");
}

TEST(UnicodeOdf, TakesPropertiesHeadersAndTitlesOfCharts) {
  const std::string bytes = odf(
      "text", "<text:p>body</text:p>",
      {{"meta.xml",
        "<office:meta><meta:generator>G</meta:generator><dc:title>T</dc:title>"
        "<meta:keyword>K</meta:keyword></office:meta>"},
       {"styles.xml",
        "<office:master-styles><style:master-page><draw:frame><text:p>Click to edit</text:p>"
        "</draw:frame><style:header><text:p>Annual report, page <text:page-number>1"
        "</text:page-number></text:p></style:header><style:footer><text:p>Page <text:page-number>1"
        "</text:page-number></text:p></style:footer><style:header-left style:display='false'>"
        "<text:p>unseen</text:p></style:header-left></style:master-page></office:master-styles>"},
       {"Object 1/content.xml",
        "<chart:chart><chart:title><text:p>Chart</text:p></chart:title>"
        "<table:table><text:p>3</text:p></table:table></chart:chart>"}});
  EXPECT_EQ(readDocument(bytes, "a.odt").text, "T\nK\n\nbody\n\nAnnual report, page\n\nChart\n");
}

TEST(UnicodeOdf, FlatOnesHavePropertiesAndHiddenText) {
  const std::string bytes =
      "<?xml version='1.0'?><office:document><office:meta><dc:title>T</dc:title><meta:generator>g"
      "</meta:generator><meta:keyword>K</meta:keyword></office:meta><office:automatic-styles>"
      "<style:style style:name='H'><style:text-properties text:display='none'/></style:style>"
      "<style:style style:name='S'><style:text-properties/></style:style></office:automatic-styles>"
      "<office:body><text:p>bo<text:span text:style-name='S'>dy</text:span><text:meta>, "
      "</text:meta>"
      "more<text:span text:style-name='H'> hidden</text:span></text:p><text:p text:style-name='H'>x"
      "</text:p></office:body></office:document>";
  EXPECT_EQ(readDocument(bytes, "a.fodt").text, "T\nK\n\nbody, more\n");
}

TEST(UnicodeOdf, TemplatesMayHaveNoContents) {
  const std::string mimetype = "application/vnd.oasis.opendocument.text-template";
  const std::string bytes = zipArchive(
      {{"mimetype", mimetype, false}, {"meta.xml", "<dc:title>T</dc:title>"}, {"styles.xml", ""}});
  EXPECT_EQ(readDocument(bytes, "a.ott").text, "T\n");
  EXPECT_EQ(readDocument(bytes, "a.ott").outcome, Outcome::kDone);
  EXPECT_EQ(readDocument(zipArchive({{"mimetype", mimetype, false}}), "a").outcome,
            Outcome::kDamaged);
}

TEST(UnicodeOdf, EncryptionIsTold) {
  const std::string bytes =
      odf("text", "<text:p>\x01\x02</text:p>",
          {{"META-INF/manifest.xml", "<manifest:file-entry><manifest:encryption-data/>"}});
  const DocumentText document = readDocument(bytes, "a.odt");
  EXPECT_EQ(document.outcome, Outcome::kNeedsPassword);
  EXPECT_EQ(document.text, "");
}

std::string epub(const std::string& opf, const std::vector<ZipMember>& others = {}) {
  std::vector<ZipMember> members = {
      {"mimetype", "application/epub+zip", false},
      {"META-INF/container.xml",
       "<container><rootfiles><rootfile full-path='O/book.opf'/>"
       "</rootfiles></container>"},
      {"O/text/one.xhtml", "<html><head><title>one.xhtml</title></head><body><p>on<b>e</b></p>"},
      {"O/text/two three.xhtml", "<html><body><h1>two</h1>&eacute;t&eacute;</body></html>"},
      {"O/cover.svg", "<svg><text>cover</text></svg>"},
      {"O/book.opf", opf}};
  members.insert(members.end(), others.begin(), others.end());
  return zipArchive(members);
}

TEST(UnicodeEpub, PagesComeInTheOrderOfTheSpine) {
  const std::string opf =
      "<package><metadata><dc:title>Title</dc:title><dc:creator>Author</dc:creator>"
      "<dc:identifier>urn:x</dc:identifier></metadata><manifest>"
      "<item id='a' href='text/one.xhtml'/><item id='b' href='text/two%20three.xhtml'/>"
      "<item id='c' href='cover.svg'/></manifest>"
      "<spine><itemref idref='c'/><itemref idref='b'/><itemref idref='lost'/><itemref idref='a'/>"
      "</spine></package>";
  const std::string text = "Title\nAuthor\n\ncover\n\ntwo\n\nété\n\none\n";
  EXPECT_EQ(readDocument(epub(opf), "a.epub").text, text);
  EXPECT_EQ(readDocument(epub(opf), "a").text, text);
  EXPECT_EQ(readDocument(epub("<package><spi"), "a.epub").text, "one\n\ntwo\n\nété\n");
  const DocumentText locked =
      readDocument(epub(opf, {{"META-INF/encryption.xml",
                               "<enc:CipherReference URI='O/text/one.xhtml'/><enc:CipherReference "
                               "URI='O/font.otf'/>"}}),
                   "a.epub");
  EXPECT_EQ(locked.outcome, Outcome::kNeedsPassword);
  EXPECT_EQ(locked.text, "Title\nAuthor\n\ncover\n\ntwo\n\nété\n");
}

TEST(UnicodeFb2, ReadsTheBookInItsCharacterSet) {
  const std::string book =
      "<?xml version=\"1.0\" encoding=\"windows-1251\"?>\n<FictionBook><description><title-info>"
      "<genre>sf</genre><author><first-name>\xC0</first-name><last-name>B</last-name></author>"
      "<book-title>T</book-title></title-info><document-info><id>X</id></document-info>"
      "</description><body><section><title><p>\xCC\xEE</p></title><p>wo<emphasis>rd</emphasis>"
      "</p><poem><stanza><v>l1</v><v>l2</v></stanza></poem></section></body>"
      "<binary>QUJD</binary></FictionBook>";
  const std::string text = "А B\n\nT\n\nМо\n\nword\n\nl1\nl2\n";
  EXPECT_EQ(readDocument(book, "a.fb2").text, text);
  EXPECT_EQ(readDocument(book, "a").text, text);
  EXPECT_EQ(readDocument(zipArchive({{"a.fb2", book}}), "a.fbz").text, text);
}

std::string rtf(const std::string& body, const std::string& header = "\\ansi") {
  return readDocument("{\\rtf1" + header + " " + body + "}", "a.rtf").text;
}

TEST(UnicodeRtf, BytesAreReadInTheCodePageOfTheirFont) {
  const std::string fonts =
      "\\ansi\\ansicpg1253\\deff0{\\fonttbl{\\f0 A;}{\\f1\\fcharset204{\\*\\falt X}B;}"
      "{\\f2\\fcharset128 C;}{\\f3\\fcharset1\\cpg1250 D;}{\\f4\\fcharset2 E;}}";
  const std::pair<std::string, std::string> cases[] = {
      {"\\'e1\\'e2", "αβ\n"},
      {"{\\f1\\'cc\\'ee}\\'e1", "Моα\n"},
      {"\\f1\\'cc\\plain\\'e1", "Мα\n"},
      {"\\f2\\'93\\'fa\\'96{\\b\\'7b}\\'83A", "日本ア\n"},
      {"a{\\f4 lll\\u61623?}b", "ab\n"},
      {"\xE1", "α\n"},
  };
  for (const auto& [body, text] : cases) EXPECT_EQ(rtf(body, fonts), text) << body;
  EXPECT_EQ(rtf("\\'8e", "\\mac"), "é\n");
  EXPECT_EQ(rtf("\\'82", "\\pc"), "é\n");
}

TEST(UnicodeRtf, UnicodeStandsForItsFallback) {
  const std::pair<const char*, const char*> cases[] = {
      {"\\u1052?\\u1086\\'3fx", "Моx\n"},
      {"\\uc2\\u26085\\'93\\'fax", "日x\n"},
      {"\\uc0\\u233 x{\\uc1\\u233 ?}\\u233 y", "éxééy\n"},
      {"\\u-10179?\\u-8704?z", "\U0001F600z\n"},
      {"\\u233\\emdash{}x", "éx\n"},
      {"{\\uc5\\u233 ab}cdefg", "écdefg\n"},
      {"a\\u-10179?b\\u0?\\u65535?\\u99999999?c", "abc\n"},
      {"{\\upr{ansi}{\\*\\ud{\\u1052?}}}x", "Мx\n"},
  };
  for (const auto& [body, text] : cases) EXPECT_EQ(rtf(body), text) << body;
}

TEST(UnicodeRtf, KeepsWordsWholeAndParagraphsApart) {
  const std::pair<const char*, const char*> cases[] = {
      {"Hel\\b lo\\b0  wor{\\i ld}\r\n s", "Hello world s\n"},
      {"a\\par b\\line c\\tab d\\\r\ne", "a\n\nb\nc d\n\ne\n"},
      {"a\\cell b\\cell\\row c\\cell\\row d", "a b\nc\nd\n"},
      {"\\ldblquote q\\rdblquote\\~x\\endash y\\\\\\{\\}", "“q” x–y\\{}\n"},
      {"no{\\footnote\\pard the note\\par}te\\par next", "note\n\nthe note\n\nnext\n"},
      {"a{\\pict\\bin4 }}}}{\\*\\blipuid 00ff}ffd8}b", "ab\n"},
      {"{\\header head\\par}text", "text\n\nhead\n"},
      {"{\\field{\\*\\fldinst HYPERLINK \"x\"}{\\fldrslt link}}ed", "linked\n"},
      {"{\\shp{\\*\\shpinst{\\sp{\\sn n}{\\sv v}}{\\shptxt box}}{\\shprslt box}}", "box\n"},
      {"s{\\v hidden}h{\\deleted gone}o\\v w\\v0 wn", "shown\n"},
      {"{\\stylesheet{\\s1 Title;}}{\\*\\unknown{\\title x}}{\\colortbl;}y", "y\n"},
      {"{\\info{\\title T}{\\author A}{\\operator O}}{\\title x}", "T\n\nA\n\nx\n"},
  };
  for (const auto& [body, text] : cases) EXPECT_EQ(rtf(body), text) << body;
}

TEST(UnicodeRtf, TellsDamageAndStillReads) {
  EXPECT_EQ(readDocument("{\\rtf1 text {cut", "a").outcome, Outcome::kDamaged);
  EXPECT_EQ(readDocument("{\\rtf1 text {cut", "a").text, "text cut\n");
  EXPECT_EQ(readDocument("{\\rtf1 text}}} junk", "a").text, "text\n");
  EXPECT_EQ(readDocument("plain text", "a.rtf").text, "plain text\n");
  const std::string deep = "{\\rtf1 a" + std::string(200'000, '{') + "b" +
                           std::string(200'000, '}') + "\\bin9999999999 c";
  EXPECT_EQ(readDocument(deep, "a").text, "ab\n");
}

}  // namespace
}  // namespace veska::test
