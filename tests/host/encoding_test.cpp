#include "host/encoding.h"

#include <gtest/gtest.h>

#include <string>

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

}  // namespace
}  // namespace veska
