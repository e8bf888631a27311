#include <cstring>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

constexpr size_t kBlock = 65535;

class Tokenizer : public IndexTest {
 protected:
  void SetUp() override {
    IndexTest::SetUp();
    index_ = newIndex();
    vidxNewFileLinks(index_);
  }
  void TearDown() override {
    index_.reset();
    IndexTest::TearDown();
  }
  CVeskaIndex* index() { return index_; }

  // Starts over with an empty word table.
  void empty() {
    vidxEmptyIndex(index());
    vidxNewFileLinks(index());
  }
  // The words of one block, handed over in a buffer of exactly its size.
  Texts words(const std::string& block, const char* analyzer = "generic") {
    empty();
    std::memset(index_->pendingWord, 0, sizeof index_->pendingWord);
    const std::unique_ptr<char[]> exact(new char[block.size()]);
    std::copy(block.begin(), block.end(), exact.get());
    result_ = index_->analyzerNamed(analyzer)->indexBuffer(exact.get(), block.size(), 50, true);
    return textsOf(vidxGetWords(index()));
  }
  // The words of a file.
  Texts fileWords(const std::string& bytes) {
    empty();
    document("f.txt", bytes);
    EXPECT_TRUE(index_->analyzerNamed("generic")->indexFile((docs() + "/f.txt").c_str(), 50));
    return textsOf(vidxGetWords(index()));
  }
  unsigned long result_ = 0;

 private:
  IndexPtr index_;
};

TEST_F(Tokenizer, CutsABlockIntoWords) {
  using namespace std::string_literals;
  const std::tuple<std::string, Texts, const char*> cases[] = {
      {"Abc  DEF,ghi.", {"abc", "def", "ghi"}, ""},
      {"", {}, ""},
      {"x-y- -z --", {"x-y-", "z"}, ""},
      {"\xC9T\xC9 \xC0 \xD7 ", {"\xE9t\xE9", "\xC0", "\xF7"}, ""},
      // 16-bit units; two NULs in a row end a word; one at the block's end is left alone.
      {"w\0o\0r\0d\0 \0"s, {"word"}, ""},
      {"w\0\0ord "s, {"w", "ord"}, ""},
      {"\0ab\0c "s, {"abc"}, ""},
      {"ab\0"s, {"ab"}, ""},
      {"ab\0\0"s, {"ab"}, ""},
      {"a\0b\0 \0c\0\n\0"s, {"ab", "c"}, ""},
      // Control characters on both sides drop a word, on one side only they do not.
      {"\1abc\1 def ", {"def"}, ""},
      {"\1abc def\1ghi jkl", {"abc", "def", "ghi"}, "jkl"},
      {"\1 abc\1", {}, ""},  // the flag stays set while no word has begun
      {"\1abc\002def\3", {}, ""},
      {" abc\001def ghi ", {"abc", "def", "ghi"}, ""},
      {"\tabc\tdef\n", {"abc", "def"}, ""},  // these controls are none
      {"\1abc\t\1def\t", {"abc", "def"}, ""},
  };
  for (const auto& [block, wanted, rest] : cases) {
    EXPECT_EQ(words(block), wanted) << testing::PrintToString(block);
    EXPECT_STREQ(index()->pendingWord, rest) << testing::PrintToString(block);
    EXPECT_EQ(result_, *rest ? std::strlen(rest) : block.size());
  }
}

TEST_F(Tokenizer, LengthsAreInclusiveAndTheMaximumIsOneMore) {
  const auto kept = [&](int minimum, int maximum) {
    vidxSetMinWordLength(index(), minimum);
    vidxSetMaxWordLength(index(), maximum);
    std::string lengths, block;
    for (size_t n = 1; n <= 110; ++n) block += std::string(n, 'x') + " ";
    for (const std::string& word : words(block)) lengths += std::to_string(word.size()) + " ";
    return lengths;
  };
  EXPECT_EQ(kept(9, 10), "9 10 11 ");
  EXPECT_EQ(kept(11, 10), "11 ");
  EXPECT_EQ(kept(12, 10), "");
  EXPECT_EQ(kept(100, 0), "100 101 ") << "0: no maximum was set";
  EXPECT_EQ(kept(0, 1), "1 2 ");
}

TEST_F(Tokenizer, CarriesAtMost1023BytesOfAnUnfinishedWord) {
  words("ab " + std::string(3000, 'X'));
  EXPECT_EQ(std::string(index()->pendingWord), std::string(1023, 'x'));
  EXPECT_GE(result_, 1023U);
}

TEST_F(Tokenizer, ConvertsTheCharacterSetFirst) {
  for (const int b : {0xE4, 0xFC, 0xFF}) vidxSetValidCharMask(index(), b, true);
  EXPECT_EQ(words("x\x8Ay ", "macroman"), Texts{"x\xE4y"});
  EXPECT_EQ(words("x\x81y ", "dosoem"), Texts{"x\xFCy"});
  EXPECT_EQ(words("x\xF0y ", "macroman"), Texts{"x\xFFy"});
  EXPECT_EQ(words("x\xC0y ", "macroman"), (Texts{"x", "y"})) << "an inverted question mark";
}

TEST_F(Tokenizer, FileIsReadInBlocksThatCutWords) {
  EXPECT_EQ(fileWords("abc def"), Texts{"abc"}) << "no separator behind the last word";
  EXPECT_EQ(fileWords("abc def\n"), (Texts{"abc", "def"}));
  EXPECT_EQ(fileWords(""), Texts{});
  const std::string blanks(kBlock - 3, ' ');
  EXPECT_EQ(fileWords(blanks + "abcdef "), Texts{"def"});
  EXPECT_EQ(fileWords(blanks + "abc def "), Texts{"def"});
  EXPECT_EQ(fileWords(blanks + " ab cd "), Texts{"cd"}) << "the first ends with its block";
  EXPECT_EQ(fileWords(blanks + "ab cd "), (Texts{"ab", "cd"}));
  EXPECT_EQ(fileWords(blanks + std::string(kBlock + 10, 'x') + " "), Texts{std::string(7, 'x')});
}

TEST_F(Tokenizer, LimitPerFileEndsTheReadingAndOffersTheLastWord) {
  const struct {
    unsigned long limit;
    std::string bytes;
    Texts words;
    double read;
  } cases[] = {
      {7, "abc defgh ijk ", {"abc", "def"}, 7},
      {7, "abc def", {"abc", "def"}, 7},
      {8, "abc def", {"abc"}, 7},
      {4, "abc def", {"abc"}, 4},
      {kBlock + 4, std::string(kBlock, ' ') + "abcdef ", {"abcd"}, kBlock + 4.0},
      {kBlock, std::string(kBlock - 2, ' ') + "abc ", {"ab"}, static_cast<double>(kBlock)},
  };
  for (const auto& c : cases) {
    vidxSetMaxPerFileRead(index(), c.limit);
    EXPECT_EQ(fileWords(c.bytes), c.words) << c.limit << " of " << c.bytes.size();
    EXPECT_EQ(vidxGetBytesRead(index()), c.read) << c.limit << " of " << c.bytes.size();
    EXPECT_EQ(vidxGetContentsIndexed(index()), 1U);
  }
  vidxSetMaxPerFileRead(index(), 7);
  vidxSetMinWordLength(index(), 4);
  EXPECT_EQ(fileWords("abc defgh "), Texts{}) << "the cut word is too short";
}

TEST_F(Tokenizer, FilesThatCannotBeOpenedCountForNothing) {
  Reports reports;
  CFileAnalyzer* generic = index()->analyzerNamed("generic");
  EXPECT_FALSE(generic->indexFile(path("missing").c_str(), 50));
  EXPECT_EQ(reports.count("throw:"), 0);
  EXPECT_EQ(vidxGetContentsIndexed(index()), 0U);
  EXPECT_TRUE(generic->canUseIndexBuffer());
  EXPECT_FALSE(generic->extractToTempFile("a", "b", "c", 1));
}

TEST_F(Tokenizer, BytesAreReportedFromLevelTwoOnAndCanHalt) {
  document("f.txt", "abc def ");
  const std::string file = docs() + "/f.txt";
  CFileAnalyzer* generic = index()->analyzerNamed("generic");
  Reports reports;
  for (const int level : {0, 1}) {
    vidxSetStatusLevel(index(), level);
    generic->indexFile(file.c_str(), 50);
  }
  EXPECT_EQ(reports.take(), Texts{});
  vidxSetStatusLevel(index(), 2);
  index()->lastStatusTime = 0;
  generic->indexFile(file.c_str(), 50);
  generic->indexFile(file.c_str(), 50);
  EXPECT_EQ(reports.take(), Texts{"status:BytesIndexing:24.000000\t" + file}) << "once a second";
  index()->lastStatusTime = 0;
  reports.answer = [](const std::string&) { return false; };
  EXPECT_THROW(generic->indexFile(file.c_str(), 50), int);
  EXPECT_EQ(reports.take().back(), "throw:HaltRequested:");
}

}  // namespace
}  // namespace veska::test
