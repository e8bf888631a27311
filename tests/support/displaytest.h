// The fixture of cases about display text and contents objects: an index made through the C
// interface, with fixed character classes.
#ifndef VESKA_TESTS_SUPPORT_DISPLAYTEST_H_
#define VESKA_TESTS_SUPPORT_DISPLAYTEST_H_

#include <cctype>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "analyzers/fileanalyzer.h"
#include "api/veskalib.h"
#include "index/index.h"
#include "tests/support/leakcheck.h"

namespace veska::test {

struct ClearIndexHandle {
  void operator()(CVeskaIndex* index) const { vidxClearIndex(index); }
};
using IndexHandle = std::unique_ptr<CVeskaIndex, ClearIndexHandle>;

struct DeleteContents {
  void operator()(CFileContents* contents) const { vfcDeleteContentsObject(contents); }
};
using ContentsHandle = std::unique_ptr<CFileContents, DeleteContents>;

// The keys and details told to the throw callback, as "key:detail;".
inline std::string& thrownReports() {
  static std::string reports;
  return reports;
}
inline void noteReport(const char* key, const char* detail) {
  thrownReports() += std::string(key) + ":" + detail + ";";
}

class DisplayTest : public LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    std::filesystem::create_directories(indexPath());
    std::filesystem::create_directories(docs());
    thrownReports().clear();
    vSetThrowCallBack(noteReport);
  }
  void TearDown() override {
    vSetThrowCallBack(nullptr);
    vSetStatusCallBack(nullptr);
    LeakCheckedTest::TearDown();
  }

  std::string indexPath() const { return path("config") + "/a/b/index/"; }
  std::string docs() const { return path("docs"); }

  // Letters, digits and bytes from 0xC0 on make words, which "'" continues; those, punctuation and
  // 0xA0 to 0xBF are viewable; "#", "~" and 0x80 to 0x8F are non-letters that are not viewable.
  IndexHandle newIndex() const {
    IndexHandle index(vCreateNewIndex(true, indexPath().c_str()));
    if (!index) return index;
    for (int b = 1; b < 256; ++b) {
      const bool letter = (b < 128 && std::isalnum(b)) || b >= 0xC0;
      const bool hidden = b == '#' || b == '~';
      vidxSetValidCharMask(index.get(), b, letter);
      vidxSetValidTrailingMask(index.get(), b, b == '\'');
      vidxSetValidViewableMask(index.get(), b, (b > ' ' && b < 127 && !hidden) || b >= 0xA0);
      vidxSetNonAlphaCharMask(index.get(), b,
                              (b < 128 && std::ispunct(b)) || (b >= 0x80 && b < 0x90));
    }
    vidxSetMinWordLength(index.get(), 1);
    vidxSetMaxPerFileRead(index.get(), 1 << 24);
    vidxSetTemporaryDirectory(index.get(), engineTemp().c_str());
    vidxCreateAnalyzers(index.get());
    vidxNewFileLinks(index.get());
    return index;
  }

  // The display text of one block, with the hooks' state starting at 0.
  static std::string strip(CFileAnalyzer& analyzer, std::string in, int lineWidth = 0,
                           bool option = true, unsigned long outSize = 1 << 16) {
    std::string out(outSize, '\x7F');
    int state = 0;
    const unsigned long bytes = analyzer.stripBuffer(in.data(), in.size(), out.data(), outSize,
                                                     lineWidth, option, true, &state);
    EXPECT_LT(bytes, outSize);
    EXPECT_EQ(std::strlen(out.c_str()), bytes);
    return out.substr(0, bytes);
  }

  // Display text of a file with these bytes; the analyzer's error leaves it empty.
  std::string fill(CFileAnalyzer& analyzer, std::string_view bytes,
                   unsigned long maxBytes = 1 << 20, int lineWidth = 0, bool option = true) const {
    const std::string file = path("shown");
    writeFile(file, bytes);
    std::unique_ptr<char, decltype(&std::free)> text(
        analyzer.fillDisplayBuffer(file.c_str(), 0, maxBytes, lineWidth, option), &std::free);
    return text.get();
  }

  // The words of the index, in the order in which they were met, each followed by a blank.
  static std::string words(CVeskaIndex* index) {
    CTextStorage* table = vidxGetWords(index);
    std::string all;
    for (auto id = vtsGetFirst(table); id != 0; id = vtsGetNext(table, id))
      all += std::string(vtsGetText(table, id)) + " ";
    return all;
  }

  // The words that an analyzer finds in one block.
  std::string wordsOf(const char* analyzer, std::string block) const {
    const IndexHandle index = newIndex();
    index->analyzerNamed(analyzer)->indexBuffer(block.data(), block.size(), 100, true);
    return words(index.get());
  }
};

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_DISPLAYTEST_H_
