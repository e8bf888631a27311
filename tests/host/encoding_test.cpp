// Texts between UTF-8, Windows-1252 and the character sets of terminals.
#include "host/encoding.h"

#include <gtest/gtest.h>

#include <string>

#include "host/charset.h"

namespace veska {
namespace {

TEST(Encoding, EveryByteOfTheCodePageComesBack) {
  int without = 0;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const char32_t code = characterOf(static_cast<unsigned char>(byte));
    if (code == 0xFFFD) {
      ++without;
      continue;
    }
    EXPECT_EQ(windows1252Of(code, false), static_cast<int>(byte));
  }
  EXPECT_EQ(without, 5);
  EXPECT_EQ(characterOf(0x80), U'\u20AC');
  EXPECT_EQ(windows1252Of(0x81, false), -1);
  EXPECT_EQ(windows1252Of(0x439, true), -1);
}

TEST(Encoding, OnlyWellFormedUtf8IsUtf8) {
  EXPECT_TRUE(isUtf8("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"));
  for (const char* bad : {"\x80", "\xC3", "\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80",
                          "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xE2\x82", "caf\xE9"}) {
    EXPECT_FALSE(isUtf8(bad)) << bad;
  }
}

TEST(Encoding, TextsOfBothKindsBecomeUtf8) {
  EXPECT_EQ(toUtf8("caf\xE9 caf\xC3\xA9 \x80"), "caf\xC3\xA9 caf\xC3\xA9 \xE2\x82\xAC");
  for (unsigned byte = 0; byte < 256; ++byte) {
    EXPECT_TRUE(isUtf8(toUtf8(std::string("x") + static_cast<char>(byte) + "y")));
  }
}

TEST(Encoding, FoldsAsTheEngine) {
  std::string text = "AZ\xC0\xC1\xDE\x8A\x8F\xA3\xA5\xAF\xD7\xE9";
  fold(text);
  EXPECT_EQ(text, "az\xC0\xE1\xFE\x9A\x9F\xB3\xB9\xBF\xF7\xE9");
}

TEST(Encoding, ControlsNeverStayPrintable) {
  for (char32_t code = 0; code < 0x2100; ++code) {
    if (code >= 0x20 && (code < 0x7F || code >= 0xA0)) continue;
    std::string out;
    appendPrintable(out, code);
    EXPECT_EQ(out, "\uFFFD") << static_cast<uint32_t>(code);
  }
}

TEST(Charset, EncodesWithTheClosestThereIs) {
  const std::tuple<const char*, const char*, std::string> cases[] = {
      {"UTF-8", "café 東", "café 東"},
      {"ISO-8859-1", "café \uFB01n", "caf\xE9 fin"},
      {"ISO-8859-1", "ř東", "r?"},
      {"KOI8-R", "\u041C\u0438\u0440", "\xED\xC9\xD2"},
      {"EUC-JP", "東京", "\xC5\xEC\xB5\xFE"},
      {"ANSI_X3.4-1968", "café 東 …", "cafe ? ..."},
      {"ANSI_X3.4-1968", "e\u0301", "e"},
      {"no such set", "東", "東"},
  };
  for (const auto& [name, utf8, bytes] : cases) {
    EXPECT_EQ(Charset(name).encoded(utf8), bytes) << name << " " << utf8;
  }
}

TEST(Charset, DecodesWhatIsTyped) {
  EXPECT_EQ(Charset("KOI8-R").decoded("\xED\xC9\xD2"), "\u041C\u0438\u0440");
  EXPECT_EQ(Charset("EUC-JP").decoded("\xC5\xEC"), "東");
  EXPECT_EQ(Charset("UTF-8").decoded("café \xE9"), "café é");
  EXPECT_EQ(Charset("ANSI_X3.4-1968").decoded("café"), "café");
}

TEST(Charset, NamesWantExactlyTheirCharacters) {
  EXPECT_EQ(Charset("ISO-8859-1").exactly("é"), "\xE9");
  EXPECT_EQ(Charset("ISO-8859-1").exactly("ř"), "");
  EXPECT_EQ(Charset("ASCII").exactly("é"), "");
}

TEST(Charset, ColumnsOfWideAndOfCombiningCharacters) {
  EXPECT_EQ(columnCount("abcéЖ"), 5u);
  EXPECT_EQ(columnCount("東京"), 4u);
  EXPECT_EQ(columnCount("e\u0301"), 1u);
  EXPECT_EQ(columnCount("\xE9"), 1u);
}

}  // namespace
}  // namespace veska
