// The scan of the word table for a term with wildcards, held against a look at every word.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Ids = std::vector<unsigned long>;

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
  std::mt19937 random(kSeed);
  const auto text = [&random](std::string_view letters, size_t most) {
    std::string made(1 + random() % most, ' ');
    for (char& c : made) c = letters[random() % letters.size()];
    return made;
  };
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  setMasks(index);
  vidxNewFileLinks(index);
  // Ids and links of the table's data read as letters here and there, so that hits lie in them.
  for (unsigned long file = 1; file < 3000; ++file)
    vidxIndexWord(index, text("abc", 12).c_str(), 0x61626300 + file);
  size_t found = 0;
  for (int round = 0; round < 600; ++round) {
    const std::string term = text("abc*?", 9);
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
