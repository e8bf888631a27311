// CPdfAnalyzer: PDF text on its way into the index and onto the screen.

#include "analyzers/pdf/libcrypto.h"
#include "analyzers/pdfanalyzer.h"
#include "tests/analyzers/pdfbuilder.h"
#include "tests/support/displaytest.h"

namespace veska::test {
namespace {

class PdfAnalyzer : public DisplayTest {
 protected:
  void SetUp() override {
    pdf::cryptoAvailable();  // once loaded the library stays, and is no leak
    DisplayTest::SetUp();
  }

  // Indexes a file with these bytes. Result: the words, each followed by a blank.
  std::string wordsOf(std::string_view file, unsigned long maxPerFileRead = 1 << 20) const {
    const IndexPtr index = newIndex();
    vidxSetMaxPerFileRead(index, maxPerFileRead);
    vidxSetMinWordLength(index, 2);
    writeFile(path("a.pdf"), file);
    EXPECT_TRUE(index->analyzerNamed("pdf")->indexFile(path("a.pdf").c_str(), 1));
    EXPECT_EQ(index->contentsIndexed, 1u);
    return words(index);
  }

  std::string displayOf(std::string_view file, unsigned long maxBytes, int lineWidth) const {
    const IndexPtr index = newIndex();
    return fill(*index->analyzerNamed("pdf"), file, maxBytes, lineWidth);
  }
};

std::string pageOf(std::string_view lines) {
  return PdfBuilder::page("BT /F 10 Tf 12 TL 50 700 Td " + std::string(lines) + " ET").build();
}

TEST_F(PdfAnalyzer, WordsAreFoldedAndTheLastOneIsThere) {
  Reports reports;
  EXPECT_EQ(wordsOf(pageOf("(Caf\\351 M\\374nchen a of) Tj (naive \\223quoted\\224 end) '")),
            "caf\xE9 m\xFCnchen of naive quoted end ");
  EXPECT_EQ(reports.take(), Texts{});
}

TEST_F(PdfAnalyzer, TheReadLimitCountsTextAndCutsNoWord) {
  const std::string file = pageOf("(alpha beta gamma delta) Tj");
  EXPECT_EQ(wordsOf(file, 13), "alpha beta ");
  EXPECT_EQ(wordsOf(file, 3), "");
}

TEST_F(PdfAnalyzer, LongDocumentsComeInPiecesThatEndWithWords) {
  PdfBuilder builder = PdfBuilder::page("");
  std::string kids, contents;
  for (int i = 0; i < 40; ++i) contents += " (wordone wordtwo wordthree wordfour) '";
  builder.object(4) = streamObject("", "BT /F 10 Tf 12 TL 50 790 Td" + contents + " ET");
  for (int i = 0; i < 60; ++i) {
    kids += " " + std::to_string(builder.add(builder.object(3))) + " 0 R";
  }
  builder.object(2) = "<</Type/Pages/Kids[" + kids + "]/MediaBox[0 0 600 800]>>";
  EXPECT_EQ(wordsOf(builder.build()), "wordone wordtwo wordthree wordfour ");
}

TEST_F(PdfAnalyzer, UnreadableDocumentsAreToldAndKeepNoWords) {
  Reports reports;
  EXPECT_EQ(wordsOf("no document at all"), "");
  EXPECT_EQ(reports.take(), Texts{"problem:Damaged:" + path("a.pdf")});
  EXPECT_EQ(wordsOf(PdfBuilder::page("").build("/Encrypt<</Filter/Standard/V 9>>")), "");
  EXPECT_EQ(reports.take(), Texts{"problem:PasswordNeeded:" + path("a.pdf")});
  const IndexPtr index = newIndex();
  EXPECT_FALSE(index->analyzerNamed("pdf")->indexFile(path("none.pdf").c_str(), 1));
  EXPECT_EQ(reports.take(), Texts{"problem:OpenFailed:" + path("none.pdf")});
  EXPECT_TRUE(index->readFailed);
}

TEST_F(PdfAnalyzer, DisplayHonoursWidthAndMaximum) {
  const std::string file = pageOf("(one two three four) Tj (five) '");
  EXPECT_EQ(displayOf(file, 1000, 0), "one two three four\nfive\n");
  EXPECT_EQ(displayOf(file, 1000, 9), "one two\nthree\nfour\nfive\n");
  EXPECT_EQ(displayOf(file, 7, 0), "one two");
  EXPECT_EQ(displayOf("no document", 1000, 0), "");
  const IndexPtr index = newIndex();
  EXPECT_EQ(raised([&] {
              index->analyzerNamed("pdf")->fillDisplayBuffer(path("none").c_str(), 1, 9, 0, true);
            }),
            "CannotOpenContentsFile:" + path("none"));
}

}  // namespace
}  // namespace veska::test
