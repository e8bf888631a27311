// CPdfAnalyzer: PDF text on its way into the index and onto the screen.

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "analyzers/pdf/libcrypto.h"
#include "analyzers/pdfanalyzer.h"
#include "api/veskalib.h"
#include "index/index.h"
#include "tests/analyzers/pdfbuilder.h"
#include "tests/support/leakcheck.h"

namespace veska::test {
namespace {

std::string& reports() {
  static std::string text;
  return text;
}

void noteReport(const char* key, const char*) { reports() += std::string(key) + ";"; }

struct ClearHandle {
  void operator()(CVeskaIndex* index) const { vidxClearIndex(index); }
};
using Handle = std::unique_ptr<CVeskaIndex, ClearHandle>;

class PdfAnalyzer : public LeakCheckedTest {
 protected:
  void SetUp() override {
    pdf::cryptoAvailable();  // once loaded the library stays, and is no leak
    LeakCheckedTest::SetUp();
    std::filesystem::create_directories(path("config/a/b/index"));
    reports().clear();
    vSetThrowCallBack(noteReport);
    vSetProblemCallBack(noteReport);
  }
  void TearDown() override {
    vSetThrowCallBack(nullptr);
    vSetProblemCallBack(nullptr);
    LeakCheckedTest::TearDown();
  }

  Handle newIndex(unsigned long maxPerFileRead) const {
    Handle index(vCreateNewIndex(true, path("config/a/b/index/").c_str()));
    for (int b = 1; b < 256; ++b) {
      vidxSetValidCharMask(index.get(), b, (b < 128 && std::isalnum(b)) || b >= 0xC0);
      vidxSetValidViewableMask(index.get(), b, (b > ' ' && b < 127) || b >= 0xA0);
    }
    vidxSetMaxPerFileRead(index.get(), maxPerFileRead);
    vidxSetMinWordLength(index.get(), 2);
    vidxCreateAnalyzers(index.get());
    vidxNewFileLinks(index.get());
    return index;
  }

  // Indexes a file with these bytes. Result: the words, each followed by a blank.
  std::string wordsOf(std::string_view file, unsigned long maxPerFileRead = 1 << 20) const {
    const Handle index = newIndex(maxPerFileRead);
    writeFile(path("a.pdf"), file);
    EXPECT_TRUE(index->analyzerNamed("pdf")->indexFile(path("a.pdf").c_str(), 1));
    EXPECT_EQ(index->contentsIndexed, 1u);
    std::string all;
    CTextStorage* const table = vidxGetWords(index.get());
    for (auto id = vtsGetFirst(table); id != 0; id = vtsGetNext(table, id)) {
      all += std::string(vtsGetText(table, id)) + " ";
    }
    return all;
  }

  std::string displayOf(std::string_view file, unsigned long maxBytes, int lineWidth) const {
    const Handle index = newIndex(1 << 20);
    writeFile(path("a.pdf"), file);
    const std::unique_ptr<char, decltype(&std::free)> text(
        index->analyzerNamed("pdf")->fillDisplayBuffer(path("a.pdf").c_str(), 1, maxBytes,
                                                       lineWidth, true),
        &std::free);
    return text.get();
  }
};

std::string pageOf(std::string_view lines) {
  return PdfBuilder::page("BT /F 10 Tf 12 TL 50 700 Td " + std::string(lines) + " ET").build();
}

TEST_F(PdfAnalyzer, WordsAreFoldedAndTheLastOneIsThere) {
  EXPECT_EQ(wordsOf(pageOf("(Caf\\351 M\\374nchen a of) Tj (naive \\223quoted\\224 end) '")),
            "caf\xE9 m\xFCnchen of naive quoted end ");
  EXPECT_EQ(reports(), "");
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
  EXPECT_EQ(wordsOf("no document at all"), "");
  EXPECT_EQ(reports(), "Damaged;");
  reports().clear();
  EXPECT_EQ(wordsOf(PdfBuilder::page("").build("/Encrypt<</Filter/Standard/V 9>>")), "");
  EXPECT_EQ(reports(), "PasswordNeeded;");
  reports().clear();
  const Handle index = newIndex(1000);
  EXPECT_FALSE(index->analyzerNamed("pdf")->indexFile(path("none.pdf").c_str(), 1));
  EXPECT_EQ(reports(), "OpenFailed;");
  EXPECT_TRUE(index->readFailed);
}

TEST_F(PdfAnalyzer, DisplayHonoursWidthAndMaximum) {
  const std::string file = pageOf("(one two three four) Tj (five) '");
  EXPECT_EQ(displayOf(file, 1000, 0), "one two three four\nfive\n");
  EXPECT_EQ(displayOf(file, 1000, 9), "one two\nthree\nfour\nfive\n");
  EXPECT_EQ(displayOf(file, 7, 0), "one two");
  EXPECT_EQ(displayOf("no document", 1000, 0), "");
  const Handle index = newIndex(1000);
  EXPECT_ANY_THROW(
      index->analyzerNamed("pdf")->fillDisplayBuffer(path("none").c_str(), 1, 9, 0, true));
  EXPECT_EQ(reports(), "CannotOpenContentsFile;");
}

}  // namespace
}  // namespace veska::test
