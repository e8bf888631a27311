#include <algorithm>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Index = IndexTest;

TEST_F(Index, NewIndexHasEmptyTablesAndDefaults) {
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(listTree(indexPath()), (Texts{"files", "links", "skipped", "words"}));
  const std::tuple<const char*, uint32_t, uint32_t> tables[] = {{"files", 65535, 1048575},
                                                                {"words", 131071, 1048575},
                                                                {"skipped", 32767, 65535},
                                                                {"links", 65535, 1048575}};
  for (const auto& [name, initial, increment] : tables) {
    const TableHeader header(table(name));
    EXPECT_EQ(header.fileBytes, initial) << name;
    EXPECT_EQ(header.initial, initial) << name;
    EXPECT_EQ(header.increment, increment) << name;
  }
  EXPECT_EQ(index->minWordLength, 3);
  EXPECT_EQ(index->maxWordLength, 16);
  EXPECT_TRUE(index->useRanking && index->trackAll && !index->isUpdate && !index->showStatus);
  EXPECT_EQ(index->wordLinks, nullptr);
  EXPECT_EQ(index->skippedDirectory, config());
  EXPECT_EQ(index->entities.size(), 67U);
  for (int b = 0; b < 256; ++b) {
    EXPECT_EQ(index->binaryCharMask[b], (b >= 1 && b <= 6) || b == 8 || (b >= 14 && b <= 31)) << b;
    EXPECT_FALSE(index->validCharMask[b] || index->validTrailingMask[b]) << b;
  }
}

TEST_F(Index, SavedIndexReopensAsItWas) {
  {
    const IndexPtr index = newIndex();
    document("one.txt", "alpha beta alpha ");
    document("two.txt", "beta gamma ");
    index->indexExcludedWord("gamma");
    indexDocs(index);
    save(index);
    EXPECT_EQ(listTree(indexPath()), (Texts{"files", "hash", "links", "skipped", "words"}));
    EXPECT_FALSE(index->words->isWritable());
    EXPECT_EQ(vfsAddFile(vidxGetFiles(index), "x"), 0U) << "writing is off now";
  }
  const std::string hashBytes = table("hash"), words = table("words"), files = table("files");
  const HashFile hash(hashBytes);
  EXPECT_EQ(hash.files.buckets.size(), 1000U);
  EXPECT_EQ(hash.words.buckets.size(), 40000U);
  EXPECT_EQ(hash.words.prefix, 20U);
  EXPECT_EQ(hash.words.count, 2U);
  EXPECT_EQ(hash.skipped.buckets.size(), 1000U);
  EXPECT_EQ(hash.skipped.prefix, 4U);
  EXPECT_EQ(hash.links.ranking, 1);
  for (const Entry& entry : entriesOf(words, 20)) {
    EXPECT_EQ(hash.words.buckets[slowHash(entry.text) % 40000], entry.id) << entry.text;
  }
  for (const Entry& entry : entriesOf(files, 20)) {
    const auto chain = chainOf(files, hash.files.buckets[slowHash(entry.text) % 1000], 20);
    EXPECT_TRUE(std::count(chain.begin(), chain.end(), entry.id)) << entry.text;
  }

  const IndexPtr index = reopen();
  EXPECT_EQ(recordsOf(index), (Texts{"", "one.txt", "two.txt"}));
  EXPECT_EQ(textsOf(vidxGetWords(index)).size(), 2U);
  EXPECT_EQ(textsOf(vidxGetSkipWords(index)), Texts{"gamma"});
  Reports reports;
  vidxIndexWord(index, "alpha", 36);
  EXPECT_EQ(reports.take(), Texts{"throw:AssertionFailed:"}) << "no word links, not writable";
}

TEST_F(Index, OpeningNeedsHashAndEveryBlockOfIt) {
  { newIndex(); }
  Reports reports;
  EXPECT_EQ(vCreateNewIndex(false, indexPath().c_str()), nullptr);
  EXPECT_EQ(reports.take(), Texts{"throw:StorageReadError:" + indexPath()});
  vidxClearIndex(nullptr);
  { vidxStoreStorage(newIndex().get(), indexPath().c_str()); }
  const std::string hash = table("hash");
  const std::pair<size_t, const char*> cuts[] = {{0, "files"},
                                                 {16 + 4000 - 1, "files"},
                                                 {16 + 4000, "words"},
                                                 {16 + 4000 + 20 + 160000 + 8, "skipped"},
                                                 {hash.size() - 5, "links"},
                                                 {hash.size() - 1, "links"}};
  for (const auto& [length, table] : cuts) {
    writeFile(indexPath() + "hash", hash.substr(0, length));
    EXPECT_EQ(vCreateNewIndex(false, indexPath().c_str()), nullptr) << length;
    EXPECT_EQ(reports.take(), Texts{"throw:StorageReadError:" + indexPath() + table});
  }
  writeFile(indexPath() + "hash", hash);
  EXPECT_NE(reopen(), nullptr);
}

TEST_F(Index, PathIsGluedToTheTableNames) {
  const std::string bare = path("ix");
  {
    const IndexPtr index(vCreateNewIndex(true, bare.c_str()));
    vidxStoreStorage(index, bare.c_str());
    EXPECT_NE(IndexPtr(vCreateNewIndex(false, bare.c_str())), nullptr);
  }
  for (const char* name : {"files", "words", "skipped", "links", "hash"}) {
    EXPECT_EQ(access((bare + name).c_str(), F_OK), 0) << name;
  }
  const IndexPtr shallow(vCreateNewIndex(true, "/nowhere/at/"));
  EXPECT_EQ(shallow, nullptr);
}

TEST_F(Index, EmptyingKeepsSkipWordsOnly) {
  const IndexPtr index = newIndex();
  document("one.txt", "alpha beta ");
  index->indexExcludedWord("beta");
  indexDocs(index);
  vidxSetIsUpdate(index, true);
  vidxSetBytesRead(index, 17);
  vidxEmptyIndex(index);
  EXPECT_FALSE(index->isUpdate);
  EXPECT_EQ(vidxGetLinks(index), nullptr);
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index)), 0U);
  EXPECT_EQ(vfsGetFirst(vidxGetFiles(index)), 0U);
  EXPECT_NE(vtsLookup(vidxGetSkipWords(index), "beta"), 0U);
  EXPECT_EQ(vidxGetDirectoriesRead(index) + vidxGetFilesIndexed(index) +
                vidxGetContentsIndexed(index) + vidxGetWordsIndexed(index),
            0U);
  EXPECT_EQ(vidxGetBytesRead(index), 0);

  // It can be filled, or saved as it is, and opened again.
  vidxStoreStorage(index, indexPath().c_str());
  EXPECT_NE(reopen(), nullptr);
  vidxEmptyIndex(index);
  indexDocs(index);
  EXPECT_EQ(textsOf(vidxGetWords(index)), Texts{"alpha"});
  vidxCompressLinks(index);
}

TEST_F(Index, SavingElsewhereOrNowhereIsReported) {
  const IndexPtr index = newIndex();
  Reports reports;
  const std::string nowhere = path("missing/");
  vidxStoreStorage(index, nowhere.c_str());
  EXPECT_EQ(reports.take(), Texts{"throw:StorageReadError:" + nowhere});
  EXPECT_FALSE(index->words->isWritable());
  vidxStoreStorage(index, indexPath().c_str());
  EXPECT_EQ(reports.take(), Texts{});
}

// Tables that cannot be made anew or mapped again: calls are refused, and the index is mended by
// another try.
TEST_F(Index, TablesThatAreLostAreErrors) {
  const IndexPtr index = newIndex();
  const std::string kept = indexPath() + "kept";
  for (const auto lose : {&vidxEmptyIndex, &vidxIndexExclusions}) {
    writeFile(path("skip"), "the ");
    vidxSetSkipFilePath(index, path("skip").c_str());
    index->indexPath = path("missing/");
    Reports reports;
    lose(index);
    EXPECT_EQ(reports.count("throw:MemFileOpenFail:"), 1);
    vidxIndexWord(index, "word", 50);
    vidxNewFileLinks(index);
    vidxPrune(index);
    vidxStoreStorage(index, path("missing/").c_str());
    index->indexPath = indexPath();
    lose(index);
    reports.take();
    vidxNewFileLinks(index);
    vidxIndexWord(index, "word", 50);
    EXPECT_EQ(reports.take(), Texts{});
  }
  for (const char* name : {"words", "files"}) {
    std::filesystem::rename(indexPath() + name, kept);
    Reports reports;
    vidxStoreStorage(index, indexPath().c_str());
    EXPECT_EQ(vfsAddFile(vidxGetFiles(index), "name"), 0U);
    vidxIndexWord(index, "other", 50);
    EXPECT_EQ(reports.count("throw:MemFileExtendFail:"), 2) << name;
    std::filesystem::rename(kept, indexPath() + name);
  }
}

}  // namespace
}  // namespace veska::test
