// The fixture of cases about display text and contents objects: an index made through the C
// interface, with fixed character classes.
#ifndef VESKA_TESTS_SUPPORT_DISPLAYTEST_H_
#define VESKA_TESTS_SUPPORT_DISPLAYTEST_H_

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "tests/support/indextest.h"

namespace veska::test {

struct DeleteContents {
  void operator()(CFileContents* contents) const { vfcDeleteContentsObject(contents); }
};
using ContentsHandle = std::unique_ptr<CFileContents, DeleteContents>;

class DisplayTest : public IndexTest {
 protected:
  // As the index of other cases, but "'" continues words; "#", "~" and 0x80 to 0x8F are non-letters
  // that are not viewable.
  IndexPtr newIndex() const {
    IndexPtr index = IndexTest::newIndex();
    for (int b = 1; b < 256; ++b) {
      vidxSetValidTrailingMask(index, b, b == '\'');
      if (b == '#' || b == '~') vidxSetValidViewableMask(index, b, false);
      vidxSetNonAlphaCharMask(index, b, (b < 128 && std::ispunct(b)) || (b >= 0x80 && b < 0x90));
    }
    vidxNewFileLinks(index);
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
    std::string all;
    for (const std::string& word : textsOf(vidxGetWords(index))) all += word + " ";
    return all;
  }

  // The words that an analyzer finds in one block.
  std::string wordsOf(const char* analyzer, std::string block) const {
    const IndexPtr index = newIndex();
    index->analyzerNamed(analyzer)->indexBuffer(block.data(), block.size(), 100, true);
    return words(index);
  }
};

}  // namespace veska::test

#endif  // VESKA_TESTS_SUPPORT_DISPLAYTEST_H_
