#include <gtest/gtest.h>

#include "analyzers/pdf/filters.h"
#include "tests/analyzers/pdfbuilder.h"

namespace veska::pdf {
namespace {

constexpr uint64_t kPlenty = 1 << 20;

std::string decode(Filter filter, std::string_view input, uint64_t maxBytes = kPlenty) {
  return applyFilter(filter, {}, input, maxBytes);
}

TEST(PdfFilters, KnownVectorsDecode) {
  // The example of ISO 32000-1, 7.4.4.2.
  EXPECT_EQ(decode(Filter::kLzw, std::string_view("\x80\x0B\x60\x50\x22\x0C\x0C\x85\x01", 9)),
            "-----A---B");
  EXPECT_EQ(decode(Filter::kAscii85, "<~87cURD]i,\"Ebo80~>"), "Hello World!");
  EXPECT_EQ(decode(Filter::kAscii85, "z!!~>"), std::string("\0\0\0\0\0", 5));
  EXPECT_EQ(decode(Filter::kAsciiHex, "48 65\n6C6c6>ignored"), "Hell`");
  EXPECT_EQ(decode(Filter::kRunLength, "\002abc\xFEx\x80zzz"), "abcxxx");
  EXPECT_EQ(decode(Filter::kFlate, test::deflated("inflated")), "inflated");
}

TEST(PdfFilters, DamagedDataGivesWhatCouldBeDecoded) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += std::to_string(i * 7919);
  const std::string packed = test::deflated(text);
  const std::string half = decode(Filter::kFlate, packed.substr(0, packed.size() / 2));
  EXPECT_GT(half.size(), text.size() / 4);
  EXPECT_EQ(half, text.substr(0, half.size()));
  std::string badHeader = packed;
  badHeader[0] = '\xFF';
  EXPECT_EQ(decode(Filter::kFlate, badHeader), text);
  std::string badSum = packed;
  badSum.back() = static_cast<char>(badSum.back() + 1);
  EXPECT_EQ(decode(Filter::kFlate, badSum), text);
  EXPECT_EQ(decode(Filter::kRunLength, "\177abc"), "abc");
  EXPECT_EQ(decode(Filter::kLzw, "\x80\xFF\xFF"), "");
}

TEST(PdfFilters, OutputNeverPassesTheLimit) {
  const std::string zeros(1 << 20, '\0');
  EXPECT_EQ(decode(Filter::kFlate, test::deflated(zeros), 1000).size(), 1000u);
  EXPECT_LE(decode(Filter::kAscii85, std::string(5000, 'z'), 1000).size(), 1000u);
  EXPECT_LE(decode(Filter::kAsciiHex, std::string(5000, '4'), 1000).size(), 1000u);
  EXPECT_LE(decode(Filter::kRunLength, std::string(5000, '\x81'), 1000).size(), 1000u);
}

TEST(PdfFilters, PngPredictionIsTakenBack) {
  // Rows of three bytes, one for each of the five kinds.
  std::string data("\0\1\2\3\1\1\1\1\2\1\1\1\3\4\4\4\4\1\1\1", 20);
  undoPredictor({.predictor = 15, .columns = 3}, data);
  EXPECT_EQ(data, std::string("\1\2\3\1\2\3\2\3\4\5\x8\xA\6\x9\xB", 15));
}

TEST(PdfFilters, TiffPredictionIsTakenBack) {
  std::string bytes("\1\1\1\1\5\1\1\1", 8);
  undoPredictor({.predictor = 2, .columns = 4}, bytes);
  EXPECT_EQ(bytes, std::string("\1\2\3\4\5\6\7\10", 8));
  std::string words("\0\xFF\0\1", 4);
  undoPredictor({.predictor = 2, .bitsPerComponent = 16, .columns = 2}, words);
  EXPECT_EQ(words, std::string("\0\xFF\1\0", 4));
}

TEST(PdfFilters, SenselessPredictorsLeaveTheData) {
  for (const PredictorParameters& parameters :
       {PredictorParameters{.predictor = 15, .columns = -1},
        PredictorParameters{.predictor = 15, .colors = 1 << 30, .columns = 1 << 30},
        PredictorParameters{.predictor = 2, .bitsPerComponent = 3}}) {
    std::string data = "unchanged";
    undoPredictor(parameters, data);
    EXPECT_EQ(data, "unchanged");
  }
}

}  // namespace
}  // namespace veska::pdf
