#include "tests/support/indextest.h"

namespace veska::test {
namespace {

constexpr size_t kChunk = 65535;

class SkipWords : public IndexTest {
 protected:
  // The skip words that a file of these bytes gives.
  Texts skipWords(const std::string& bytes) {
    writeFile(path("skip"), bytes);
    const IndexPtr index = newIndex();
    index->indexExcludedWord("forgotten");
    vidxSetSkipFilePath(index.get(), path("skip").c_str());
    vidxIndexExclusions(index.get());
    EXPECT_EQ(vidxGetBytesRead(index.get()), static_cast<double>(bytes.size()));
    const Texts once = textsOf(vidxGetSkipWords(index.get()));
    vidxIndexExclusions(index.get());
    EXPECT_EQ(textsOf(vidxGetSkipWords(index.get())), once) << "twice is like once";
    return once;
  }
  static std::string padded(const std::string& text, size_t size) {
    return text + std::string(size - text.size(), ' ');
  }
};

TEST_F(SkipWords, AreTheWordsOfTheFile) {
  EXPECT_EQ(skipWords(""), Texts{});
  EXPECT_EQ(skipWords(" \n\n "), Texts{});
  EXPECT_EQ(skipWords("The and\nTHE,of\r\nx-y\n"), (Texts{"the", "and", "of", "x-y"}));
  EXPECT_EQ(skipWords("a an"), Texts{"a"}) << "an unfinished last word needs 3 bytes";
  EXPECT_EQ(skipWords("a the"), (Texts{"a", "the"}));
  EXPECT_EQ(skipWords("the the"), Texts{"the"});
}

TEST_F(SkipWords, WordAcrossChunksIsAddedWhole) {
  const std::string before(kChunk - 3, ' ');
  EXPECT_EQ(skipWords(before + "abcdef "), Texts{"abcdef"});
  EXPECT_EQ(skipWords(before + "abcdef"), Texts{"abcdef"});
  EXPECT_EQ(skipWords(before + "abc def"), (Texts{"abc", "def"}));
  EXPECT_EQ(skipWords(before + "abc" + std::string(kChunk - 6, ' ') + "ABC" + "x "),
            (Texts{"abc", "abcx"}));
}

// A chunk that ends on a separator leaves the carried length as it was: what stands at the buffer's
// start is scanned again, in front of the next chunk's bytes.
TEST_F(SkipWords, CarriedLengthOutlivesAChunkThatEndsOnASeparator) {
  const std::string first = std::string(kChunk - 5, ' ') + "abcde";
  const std::string second = padded("fgh", kChunk - 5);
  EXPECT_EQ(skipWords(first + second + "xyz zzz "), (Texts{"abcdefgh", "abcdexyz", "zzz"}));
}

TEST_F(SkipWords, EndlessWordEnds) {
  const Texts words = skipWords(std::string(3 * kChunk, 'x'));
  ASSERT_EQ(words.size(), 1U);
  EXPECT_EQ(words[0], std::string(1023, 'x'));
}

TEST_F(SkipWords, FileIsFoundBesideTheConverters) {
  const IndexPtr index = newIndex();
  index->indexExcludedWord("old");
  Reports reports;
  vidxIndexExclusions(index.get());
  EXPECT_EQ(reports.take(), Texts{"throw:SkipOpenFail:" + config() + "/skipfile.txt"});
  EXPECT_EQ(textsOf(vidxGetSkipWords(index.get())), Texts{}) << "the new table stays";
  writeFile(config() + "/skipfile.txt", "the\n");
  vidxSetShowStatus(index.get(), true);
  reports.answer = [](const std::string&) { return false; };
  vidxIndexExclusions(index.get());
  EXPECT_EQ(reports.take(), Texts{"status:IndexingExcluded:"});
  EXPECT_EQ(textsOf(vidxGetSkipWords(index.get())), Texts{"the"});
  vidxSetShowStatus(index.get(), false);
  vidxSetSkipFilePath(index.get(), path("missing").c_str());
  vidxIndexExclusions(index.get());
  EXPECT_EQ(reports.take(), Texts{"throw:SkipOpenFail:" + path("missing")});
}

}  // namespace
}  // namespace veska::test
