// Character sets, mark-up and kinds.

#include <gtest/gtest.h>

#include <random>

#include "analyzers/unicode/charset.h"
#include "analyzers/unicode/displaywriter.h"
#include "analyzers/unicode/kinds.h"
#include "tests/analyzers/documenttext.h"

namespace veska::unicode {
namespace {

using test::shown;

std::string utf16(const std::u16string& text, bool little) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF);
    const char high = static_cast<char>(unit >> 8);
    bytes += little ? low : high;
    bytes += little ? high : low;
  }
  return bytes;
}

TEST(UnicodeCharset, IsFoundOrDeclared) {
  const std::u16string russian = u"Москва, город и мир\n";
  const std::string moscow = "Москва, город и мир\n";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"\uFEFFcafé", "", "café\n"},
      {"café", "ISO-8859-2", "café\n"},
      {"caf\xE9 cr\xE8me", "", "café crème\n"},
      {"caf\xE9", "", "café\n"},
      {"caf\xE9", "no-such-set", "café\n"},
      {"caf\xE9", std::string(1, '\0'), "café\n"},
      {"\x93quoted\x94", "", "“quoted”\n"},
      {"\xCC\xEE\xF1\xEA\xE2\xE0", "windows-1251", "Москва\n"},
      {"\xB3\363d\xBC", "ISO-8859-2", "łódź\n"},
      {"\x82\xA9\x82\xC8", "shift_jis", "かな\n"},
      {"\xFF\xFE" + utf16(russian, true), "", moscow},
      {"\xFE\xFF" + utf16(russian, false), "", moscow},
      {utf16(russian, true), "", moscow},
      {utf16(russian, false), "", moscow},
      {"éèàü caf\xE9.", "", "éèàü café.\n"},
      {"", "", ""},
  };
  for (const auto& [bytes, charset, text] : cases)
    EXPECT_EQ(shown(bytes, "a.txt", {.charset = charset}), text) << charset;
}

// A file whose beginning is ASCII or UTF-8 may go on otherwise.
TEST(UnicodeCharset, ReadsStrayBytesOfUtf8TextAsWindows1252) {
  EXPECT_EQ(decodeAll("café caf\xE9.", "UTF-8"), "café café.");
  const std::string ascii(100000, 'a');
  EXPECT_EQ(shown(ascii + " caf\xE9", "a.txt"), ascii + " café\n");
}

TEST(UnicodeCharset, DecodesTheSameInWhateverPieces) {
  const std::string japanese = "\x93\xFA\x96\x7B\x8C\xEA abc \x82\xA9";
  const std::string mixed = "aé東\U0001F600z\xE9 \xF0\x9F end";
  for (const auto& [bytes, charset] :
       {std::pair{japanese, "CP932"}, {mixed, "UTF-8"}, {mixed, "WINDOWS-1252"}}) {
    const std::string whole = decodeAll(bytes, charset);
    EXPECT_EQ(validUtf8Prefix(whole), whole.size());
    for (size_t piece = 1; piece < 6; ++piece) {
      Decoder decoder(charset);
      std::string text;
      for (size_t at = 0; at < bytes.size(); at += piece)
        text +=
            decoder.decode(std::string_view(bytes).substr(at, piece), at + piece >= bytes.size());
      EXPECT_EQ(text, whole) << charset << ' ' << piece;
    }
  }
}

TEST(UnicodeCharset, TellsInvalidUtf8) {
  const std::pair<std::string_view, size_t> cases[] = {
      {"\xC0\x80", 0},
      {"a\xE0\x80\x80", 1},
      {"\xED\xA0\x80", 0},
      {"\xF4\x90\x80\x80", 0},
      {"\xF4\x8F\xBF\xBF", 4},
      {"\xC3", 0},
      {"0123456789abcdef0123456789abcde\xFF", 31},
  };
  for (const auto& [bytes, valid] : cases) EXPECT_EQ(validUtf8Prefix(bytes), valid) << bytes;
}

TEST(UnicodeKinds, BinaryDataIsNoText) {
  std::mt19937 random(3);
  std::string noise;
  for (int i = 0; i < 5000; ++i) noise += static_cast<char>(random());
  EXPECT_EQ(shown(noise, "noise"), "");
  EXPECT_EQ(shown(std::string("\177ELF\2\1\1\0\0\0\0\0\0\0\0\0text", 20), "a.txt"), "");
  EXPECT_EQ(shown("Text\twith\fcontrols\x1B[1m and\r\nlines", "README").substr(0, 9), "Text with");
}

TEST(UnicodeKinds, ContentTellsWhatTheNameDoesNot) {
  EXPECT_EQ(shown("<!DOCTYPE html><p>a<b>b</b></p>", "page"), "ab\n");
  EXPECT_EQ(shown("\n<?xml version='1.0'?><r><n>one</n><n>two</n></r>", "data"), "one two\n");
  EXPECT_EQ(shown("<p>tag</p>", "notes.txt"), "<p>tag</p>\n");
}

TEST(UnicodeHtml, ShowsWhatAReaderSees) {
  const std::pair<const char*, const char*> cases[] = {
      {"<title>T &amp; U</title><meta name=Description content='About &eacute;'><p>x",
       "T & U\n\nAbout é\n\nx\n"},
      {"<p>one</p><p>two<br>three<div>four</div>", "one\n\ntwo\nthree\nfour\n"},
      {"a<blockquote>b</blockquote>c<blockquotX>d</blockquotX>e", "a\n\nb\n\ncde\n"},
      {"<table><tr><td>a</td><td>b</td></tr><tr><td>c</table>", "a b\nc\n"},
      {"a<script>if (a<b) '</p>'</script>b<STYLE>p{}</style >c<!-- <p> -->d", "a b cd\n"},
      {"a<!-->b", "a\n"},
      {"<![if IE]>x<![endif]>", "x\n"},
      {"&Eacute;t&eacute &notin; &not;in &#233;&#xE9; &#150; &bogus; AT&T &#0; "
       "&CounterClockwiseContourIntegral;",
       "Été ∉ ¬in éé – &bogus; AT&T \uFFFD \u2233\n"},
      {"<a title='x>y' href=z>link</a> 1 < 2 <3", "link 1 < 2 <3\n"},
      {"<pre>a\n  b\n</pre>c\n   d", "a\n  b\n\nc d\n"},
      {"<img alt='a picture'>x<input value=hidden type=hidden><input type=submit value=Go>",
       "a picture x Go\n"},
      {"<textarea>&lt;b> <i>raw</textarea>", "<b> <i>raw\n"},
      {"E=mc<sup>2</sup>, 1<sup>st</sup>", "E=mc2, 1st\n"},
      {"word<sup><a href=#n>12</a></sup>, word<a href=#n><sup>3</sup></a>", "word 12 , word 3\n"},
      {"東\n  <b>京</b>\n。 a\nb 東 京", "東京。 a b 東 京\n"},
      {"서\n울 東\na", "서 울 東 a\n"},
      {"tail &am", "tail &am\n"},
  };
  for (const auto& [html, text] : cases) {
    const std::string page = std::string("<html>") + html;
    EXPECT_EQ(shown(page, "a.html"), text) << html;
  }
}

TEST(UnicodeHtml, TakesTheDeclaredCharset) {
  EXPECT_EQ(shown("<meta charset=windows-1251><p>\xCC\xE8\xF0", "a.html"), "Мир\n");
  EXPECT_EQ(shown("<meta http-equiv=Content-Type content='text/html; charset=koi8-r'>\xED\xC9\xD2",
                  "a.html"),
            "Мир\n");
  EXPECT_EQ(shown("<?xml version='1.0' encoding='ISO-8859-2'?><a>\xB3</a>", "a.xml"), "ł\n");
}

// Tags, references, comments and characters that a block's end cuts.
TEST(UnicodeHtml, LosesNothingWhereBlocksEnd) {
  const std::string part = "wörd&eacute;<b>s</b> <!-- no --><p class='x'>n<script>x</script>";
  const std::string wanted = "wördés\n\nn ";
  for (size_t shift = 0; shift < part.size(); ++shift) {
    std::string page = "<html>" + std::string(65536 - 6 - shift, '.') + "<br>";
    page += part + part;
    const std::string text = shown(page, "a.html");
    EXPECT_EQ(text.substr(text.find("wörd")), wanted + wanted.substr(0, wanted.size() - 1) + "\n")
        << shift;
  }
}

TEST(UnicodeXml, KeepsElementsApartAndDeclarationsOut) {
  EXPECT_EQ(shown("<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'x>y'>]><r "
                  "a='b'><k>K</k><v>V<emphasis>W</emphasis>"
                  "</v><![CDATA[<raw> & ]]>&lt;&#65;</r>",
                  "a.xml"),
            "K VW <raw> & <A\n");
}

}  // namespace
}  // namespace veska::unicode
