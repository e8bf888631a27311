// RTF in the Unicode mode.

#include <gtest/gtest.h>

#include <string>

#include "tests/analyzers/documenttext.h"

namespace veska::test {
namespace {

using unicode::Outcome;

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
