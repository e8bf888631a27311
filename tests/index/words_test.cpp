#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Words = IndexTest;

TEST_F(Words, PairingIsHandedOverWhenTheNextFileBegins) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  vidxIndexWord(index.get(), "word", 50);
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{50, 0, 0, 0}));
  vidxIndexWord(index.get(), "word", 50);
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{50, 1, 0, 0}));
  EXPECT_EQ(index->wordLinks->usedBytes(), 16U) << "nothing is written until then";
  vidxIndexWord(index.get(), "WORD", 70);
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{70, 0, 0, 1}));
  EXPECT_EQ(vidxGetWordsIndexed(index.get()), 1U);
  const auto id = static_cast<uint32_t>(vtsLookup(vidxGetWords(index.get()), "word"));
  EXPECT_EQ(std::string(static_cast<char*>(index->wordLinks->getPointer(16)), 9),
            bytesOf(50) + bytesOf(id) + "\1");
  EXPECT_EQ(index->wordLinks->usedBytes(), 25U);
  vidxIndexWord(index.get(), "", 70);
  EXPECT_EQ(textsOf(vidxGetWords(index.get())), Texts{"word"});
}

TEST_F(Words, CountsSaturateAt255AndOnlyWithRanking) {
  for (const bool ranking : {true, false}) {
    const IndexPtr index = newIndex();
    vidxSetUseRanking(index.get(), ranking);
    vidxNewFileLinks(index.get());
    for (int i = 0; i < 300; ++i) vidxIndexWord(index.get(), "word", 50);
    EXPECT_EQ(wordOf(index.get(), "word").count, ranking ? 255U : 0U);
    vidxIndexWord(index.get(), "word", 70);
    const auto* entry = static_cast<char*>(index->wordLinks->getPointer(24));
    EXPECT_EQ(entry != nullptr, ranking);
    if (ranking) {
      EXPECT_EQ(*entry, '\xFF');
    }
  }
}

TEST_F(Words, SkipWordsAreNeverIndexed) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  const auto id = index->indexExcludedWord("the");
  EXPECT_EQ(index->indexExcludedWord("THE"), id);
  vidxIndexWord(index.get(), "the", 50);
  vidxIndexWord(index.get(), "The", 50);
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index.get())), 0U);
  EXPECT_EQ(vidxGetWordsIndexed(index.get()), 0U);
}

TEST_F(Words, CallsThatTheStateCannotServeAreErrors) {
  Reports reports;
  const IndexPtr index = newIndex();
  vidxIndexWord(index.get(), "word", 50);
  EXPECT_EQ(reports.take(), Texts{"throw:AssertionFailed:"}) << "no word links yet";
  vidxCompressLinks(index.get());
  EXPECT_EQ(reports.take(), Texts{"throw:AssertionFailed:"});
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index.get())), 0U);
  vidxNewFileLinks(index.get());
  vidxIndexWord(index.get(), "word", 50);
  index->enableWrite(false);
  vidxIndexWord(index.get(), "word", 50);
  vidxIndexWord(index.get(), "other", 50);
  EXPECT_EQ(reports.count("throw:MemFileExtendFail:"), 2);
  EXPECT_EQ(wordOf(index.get(), "word").count, 0U);
  index->links = nullptr;
  vidxCompressLinks(index.get());
  EXPECT_EQ(reports.take().back(), "throw:AssertionFailed:") << "no link table";
}

TEST_F(Words, MaskSettersIgnoreWhatIsNoByte) {
  const IndexPtr index = newIndex();
  for (const int byte : {-1, 256, 1 << 30, -128}) {
    vidxSetValidCharMask(index.get(), byte, true);
    vidxSetNonAlphaCharMask(index.get(), byte, true);
  }
  vidxSetValidCharMask(index.get(), 0, true);
  EXPECT_FALSE(index->validCharMask[0]);
  vidxSetValidCharMask(index.get(), 255, false);
  EXPECT_FALSE(index->validCharMask[255]);
}

TEST_F(Words, ExcludeBufferFoldsAndKeepsTheUnfinishedWord) {
  const struct {
    std::string buffer;
    Texts words;
    const char* pending;
  } cases[] = {
      {"The And", {"the"}, "and"},
      {"The And ", {"the", "and"}, ""},
      {"...The\n\n-x-y- THE,", {"the", "x-y-"}, ""},
      {"\xC9t\xE9;", {"\xE9t\xE9"}, ""},
      {"", {}, ""},
      {"a", {}, "a"},
      {std::string("a\0b\0", 4), {"a", "b"}, ""},
  };
  for (const auto& c : cases) {
    const IndexPtr index = newIndex();
    const std::unique_ptr<char[]> exact(new char[c.buffer.size()]);
    std::copy(c.buffer.begin(), c.buffer.end(), exact.get());
    index->indexExcludeBuffer(exact.get(), c.buffer.size());
    EXPECT_EQ(textsOf(vidxGetSkipWords(index.get())), c.words) << c.buffer;
    EXPECT_STREQ(index->pendingWord, c.pending) << c.buffer;
  }
  const IndexPtr index = newIndex();
  std::string endless(5000, 'x');
  index->indexExcludeBuffer(endless.data(), endless.size());
  EXPECT_EQ(std::string(index->pendingWord), std::string(1023, 'x'));
}

}  // namespace
}  // namespace veska::test
