// Words on their way into the tables, skip words, and the scan of the table for terms with
// wildcards.

#include "tests/support/generated.h"
#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Words = IndexTest;

TEST_F(Words, PairingIsHandedOverWhenTheNextFileBegins) {
  const IndexPtr index = linkedIndex();
  vidxIndexWord(index, "word", 50);
  EXPECT_EQ(wordOf(index, "word"), (Word{50, 0, 0, 0}));
  vidxIndexWord(index, "word", 50);
  EXPECT_EQ(wordOf(index, "word"), (Word{50, 1, 0, 0}));
  EXPECT_EQ(index->wordLinks->usedBytes(), 16U) << "nothing is written until then";
  vidxIndexWord(index, "WORD", 70);
  EXPECT_EQ(wordOf(index, "word"), (Word{70, 0, 0, 1}));
  EXPECT_EQ(vidxGetWordsIndexed(index), 1U);
  const auto id = static_cast<uint32_t>(vtsLookup(vidxGetWords(index), "word"));
  EXPECT_EQ(std::string(static_cast<char*>(index->wordLinks->getPointer(16)), 9),
            bytesOf(50) + bytesOf(id) + "\1");
  EXPECT_EQ(index->wordLinks->usedBytes(), 25U);
  vidxIndexWord(index, "", 70);
  EXPECT_EQ(textsOf(vidxGetWords(index)), Texts{"word"});
}

TEST_F(Words, CountsSaturateAt255AndOnlyWithRanking) {
  for (const bool ranking : {true, false}) {
    const IndexPtr index = newIndex();
    vidxSetUseRanking(index, ranking);
    vidxNewFileLinks(index);
    for (int i = 0; i < 300; ++i) vidxIndexWord(index, "word", 50);
    EXPECT_EQ(wordOf(index, "word").count, ranking ? 255U : 0U);
    vidxIndexWord(index, "word", 70);
    const auto* entry = static_cast<char*>(index->wordLinks->getPointer(24));
    EXPECT_EQ(entry != nullptr, ranking);
    if (ranking) {
      EXPECT_EQ(*entry, '\xFF');
    }
  }
}

TEST_F(Words, SkipWordsAreNeverIndexed) {
  const IndexPtr index = linkedIndex();
  const auto id = index->indexExcludedWord("the");
  EXPECT_EQ(index->indexExcludedWord("THE"), id);
  vidxIndexWord(index, "the", 50);
  vidxIndexWord(index, "The", 50);
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index)), 0U);
  EXPECT_EQ(vidxGetWordsIndexed(index), 0U);
}

TEST_F(Words, CallsThatTheStateCannotServeAreErrors) {
  Reports reports;
  const IndexPtr index = newIndex();
  vidxIndexWord(index, "word", 50);
  EXPECT_EQ(reports.take(), Texts{"throw:AssertionFailed:"}) << "no word links yet";
  vidxCompressLinks(index);
  EXPECT_EQ(reports.take(), Texts{"throw:AssertionFailed:"});
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index)), 0U);
  vidxNewFileLinks(index);
  vidxIndexWord(index, "word", 50);
  index->enableWrite(false);
  vidxIndexWord(index, "word", 50);
  vidxIndexWord(index, "other", 50);
  EXPECT_EQ(reports.count("throw:MemFileExtendFail:"), 2);
  EXPECT_EQ(wordOf(index, "word").count, 0U);
  index->links = nullptr;
  vidxCompressLinks(index);
  EXPECT_EQ(reports.take().back(), "throw:AssertionFailed:") << "no link table";
}

TEST_F(Words, MaskSettersIgnoreWhatIsNoByte) {
  const IndexPtr index = newIndex();
  for (const int byte : {-1, 256, 1 << 30, -128}) {
    vidxSetValidCharMask(index, byte, true);
    vidxSetNonAlphaCharMask(index, byte, true);
  }
  vidxSetValidCharMask(index, 0, true);
  EXPECT_FALSE(index->validCharMask[0]);
  vidxSetValidCharMask(index, 255, false);
  EXPECT_FALSE(index->validCharMask[255]);
}

TEST_F(Words, ExcludeBufferFoldsAndKeepsTheUnfinishedWord) {
  const std::tuple<std::string, Texts, const char*> cases[] = {
      {"The And", {"the"}, "and"},
      {"The And ", {"the", "and"}, ""},
      {"...The\n\n-x-y- THE,", {"the", "x-y-"}, ""},
      {"\xC9t\xE9;", {"\xE9t\xE9"}, ""},
      {"", {}, ""},
      {"a", {}, "a"},
      {std::string("a\0b\0", 4), {"a", "b"}, ""},
  };
  for (const auto& [buffer, words, pending] : cases) {
    const IndexPtr index = newIndex();
    const std::unique_ptr<char[]> exact(new char[buffer.size()]);
    std::copy(buffer.begin(), buffer.end(), exact.get());
    index->indexExcludeBuffer(exact.get(), buffer.size());
    EXPECT_EQ(textsOf(vidxGetSkipWords(index)), words) << buffer;
    EXPECT_STREQ(index->pendingWord, pending) << buffer;
  }
  const IndexPtr index = newIndex();
  std::string endless(5000, 'x');
  index->indexExcludeBuffer(endless.data(), endless.size());
  EXPECT_EQ(std::string(index->pendingWord), std::string(1023, 'x'));
}

constexpr size_t kChunk = 65535;

class SkipWords : public IndexTest {
 protected:
  // The skip words that a file of these bytes gives.
  Texts skipWords(const std::string& bytes) {
    writeFile(path("skip"), bytes);
    const IndexPtr index = newIndex();
    index->indexExcludedWord("forgotten");
    vidxSetSkipFilePath(index, path("skip").c_str());
    vidxIndexExclusions(index);
    EXPECT_EQ(vidxGetBytesRead(index), static_cast<double>(bytes.size()));
    const Texts once = textsOf(vidxGetSkipWords(index));
    vidxIndexExclusions(index);
    EXPECT_EQ(textsOf(vidxGetSkipWords(index)), once) << "twice is like once";
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
  vidxIndexExclusions(index);
  EXPECT_EQ(reports.take(), Texts{"throw:SkipOpenFail:" + config() + "/skipfile.txt"});
  EXPECT_EQ(textsOf(vidxGetSkipWords(index)), Texts{}) << "the new table stays";
  writeFile(config() + "/skipfile.txt", "the\n");
  vidxSetShowStatus(index, true);
  reports.answer = [](const std::string&) { return false; };
  vidxIndexExclusions(index);
  EXPECT_EQ(reports.take(), Texts{"status:IndexingExcluded:"});
  EXPECT_EQ(textsOf(vidxGetSkipWords(index)), Texts{"the"});
  vidxSetShowStatus(index, false);
  vidxSetSkipFilePath(index, path("missing").c_str());
  vidxIndexExclusions(index);
  EXPECT_EQ(reports.take(), Texts{"throw:SkipOpenFail:" + path("missing")});
}

using Ids = std::vector<unsigned long>;

// The scan is held against a look at every word.
class WordScan : public IndexTest {
 protected:
  static Ids scanned(CVeskaIndex* index, const std::string& term) {
    Ids ids;
    for (auto id = vidxNextMatchingWord(index, term.c_str(), 0); id != 0;
         id = vidxNextMatchingWord(index, term.c_str(), id))
      ids.push_back(id);
    return ids;
  }

  static Ids walked(CVeskaIndex* index, const std::string& term) {
    Ids ids;
    CTextStorage* const words = vidxGetWords(index);
    for (auto id = vtsGetFirst(words); id != 0; id = vtsGetNext(words, id))
      if (vidxDoesWordMatch(index, vtsGetText(words, id), term.c_str())) ids.push_back(id);
    return ids;
  }
};

TEST_F(WordScan, FindsWhatAWalkFinds) {
  constexpr unsigned kSeed = 20;
  Generator generate(kSeed);
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  setMasks(index);
  vidxNewFileLinks(index);
  // Ids and links of the table's data read as letters here and there, so that hits lie in them.
  for (unsigned long file = 1; file < 3000; ++file)
    vidxIndexWord(index, generate.bytes("abc", 12).c_str(), 0x61626300 + file);
  size_t found = 0;
  for (int round = 0; round < 600; ++round) {
    const std::string term = generate.bytes("abc*?", 9);
    const Ids expected = walked(index, term);
    ASSERT_EQ(scanned(index, term), expected) << "seed " << kSeed << ", term " << term;
    found += expected.size();
  }
  EXPECT_GT(found, 1000U);
}

TEST_F(WordScan, FoldsLettersInAUnicodeIndex) {
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  vidxSetUnicode(index, true);
  setMasks(index);
  vidxNewFileLinks(index);
  for (const char* word : {"straße", "größe", "übergröße", "gross", "ёлка"})
    vidxIndexWord(index, word, 1);
  for (const char* term : {"*GRÖß*", "*röße", "?bergrö*", "Ё*", "ЁЛК?", "*"})
    EXPECT_EQ(scanned(index, term), walked(index, term)) << term;
  EXPECT_EQ(scanned(index, "*GRÖß*").size(), 2U);
}

}  // namespace
}  // namespace veska::test
