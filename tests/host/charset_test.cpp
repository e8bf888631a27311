// Texts between UTF-8 and the character sets of terminals.
#include "host/charset.h"

#include <gtest/gtest.h>

#include "host/encoding.h"

namespace veska {
namespace {

TEST(Charset, EncodesWithTheClosestThereIs) {
  const struct {
    const char* name;
    const char* utf8;
    std::string bytes;
  } cases[] = {
      {"UTF-8", "caf\u00E9 \u6771", "caf\u00E9 \u6771"},
      {"ISO-8859-1", "caf\u00E9 \uFB01n", "caf\xE9 fin"},
      {"ISO-8859-1", "\u0159\u6771", "r?"},
      {"KOI8-R", "\u041C\u0438\u0440", "\xED\xC9\xD2"},
      {"EUC-JP", "\u6771\u4EAC", "\xC5\xEC\xB5\xFE"},
      {"ANSI_X3.4-1968", "caf\u00E9 \u6771 \u2026", "cafe ? ..."},
      {"ANSI_X3.4-1968", "e\u0301", "e"},
      {"no such set", "\u6771", "\u6771"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(Charset(each.name).encoded(each.utf8), each.bytes) << each.name << " " << each.utf8;
  }
}

TEST(Charset, DecodesWhatIsTyped) {
  EXPECT_EQ(Charset("KOI8-R").decoded("\xED\xC9\xD2"), "\u041C\u0438\u0440");
  EXPECT_EQ(Charset("EUC-JP").decoded("\xC5\xEC"), "\u6771");
  EXPECT_EQ(Charset("UTF-8").decoded("caf\u00E9 \xE9"), "caf\u00E9 \u00E9");
  EXPECT_EQ(Charset("ANSI_X3.4-1968").decoded("caf\u00E9"), "caf\u00E9");
}

TEST(Charset, NamesWantExactlyTheirCharacters) {
  EXPECT_EQ(Charset("ISO-8859-1").exactly("\u00E9"), "\xE9");
  EXPECT_EQ(Charset("ISO-8859-1").exactly("\u0159"), "");
  EXPECT_EQ(Charset("ASCII").exactly("\u00E9"), "");
}

TEST(Charset, ColumnsOfWideAndOfCombiningCharacters) {
  EXPECT_EQ(columnCount("abc\u00E9\u0416"), 5u);
  EXPECT_EQ(columnCount("\u6771\u4EAC"), 4u);
  EXPECT_EQ(columnCount("e\u0301"), 1u);
  EXPECT_EQ(columnCount("\xE9"), 1u);
}

}  // namespace
}  // namespace veska
