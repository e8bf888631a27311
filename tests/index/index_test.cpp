#include <algorithm>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Index = IndexTest;

TEST_F(Index, NewIndexHasEmptyTablesAndDefaults) {
  const IndexPtr index(vCreateNewIndex(true, indexPath().c_str()));
  ASSERT_NE(index, nullptr);
  EXPECT_EQ(listTree(indexPath()), (Texts{"files", "links", "skipped", "words"}));
  const struct {
    const char* name;
    uint32_t initial, increment;
  } tables[] = {{"files", 65535, 1048575},
                {"words", 131071, 1048575},
                {"skipped", 32767, 65535},
                {"links", 65535, 1048575}};
  for (const auto& t : tables) {
    const TableHeader header(table(t.name));
    EXPECT_EQ(header.fileBytes, t.initial) << t.name;
    EXPECT_EQ(header.initial, t.initial) << t.name;
    EXPECT_EQ(header.increment, t.increment) << t.name;
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
    indexDocs(index.get());
    vidxCompressLinks(index.get());
    vidxStoreStorage(index.get(), indexPath().c_str());
    EXPECT_EQ(listTree(indexPath()), (Texts{"files", "hash", "links", "skipped", "words"}));
    EXPECT_FALSE(index->words->isWritable());
    EXPECT_EQ(vfsAddFile(vidxGetFiles(index.get()), "x"), 0U) << "writing is off now";
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
  EXPECT_EQ(recordsOf(index.get()), (Texts{"", "one.txt", "two.txt"}));
  EXPECT_EQ(textsOf(vidxGetWords(index.get())).size(), 2U);
  EXPECT_EQ(textsOf(vidxGetSkipWords(index.get())), Texts{"gamma"});
  Reports reports;
  vidxIndexWord(index.get(), "alpha", 36);
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
  const struct {
    size_t length;
    const char* table;
  } cuts[] = {{0, "files"},
              {16 + 4000 - 1, "files"},
              {16 + 4000, "words"},
              {16 + 4000 + 20 + 160000 + 8, "skipped"},
              {hash.size() - 5, "links"},
              {hash.size() - 1, "links"}};
  for (const auto& cut : cuts) {
    writeFile(indexPath() + "hash", hash.substr(0, cut.length));
    EXPECT_EQ(vCreateNewIndex(false, indexPath().c_str()), nullptr) << cut.length;
    EXPECT_EQ(reports.take(), Texts{"throw:StorageReadError:" + indexPath() + cut.table});
  }
  writeFile(indexPath() + "hash", hash);
  EXPECT_NE(reopen(), nullptr);
}

TEST_F(Index, PathIsGluedToTheTableNames) {
  const std::string bare = path("ix");
  {
    const IndexPtr index(vCreateNewIndex(true, bare.c_str()));
    vidxStoreStorage(index.get(), bare.c_str());
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
  indexDocs(index.get());
  vidxSetIsUpdate(index.get(), true);
  vidxSetBytesRead(index.get(), 17);
  vidxEmptyIndex(index.get());
  EXPECT_FALSE(index->isUpdate);
  EXPECT_EQ(vidxGetLinks(index.get()), nullptr);
  EXPECT_EQ(vtsGetFirst(vidxGetWords(index.get())), 0U);
  EXPECT_EQ(vfsGetFirst(vidxGetFiles(index.get())), 0U);
  EXPECT_NE(vtsLookup(vidxGetSkipWords(index.get()), "beta"), 0U);
  EXPECT_EQ(vidxGetDirectoriesRead(index.get()) + vidxGetFilesIndexed(index.get()) +
                vidxGetContentsIndexed(index.get()) + vidxGetWordsIndexed(index.get()),
            0U);
  EXPECT_EQ(vidxGetBytesRead(index.get()), 0);

  // It can be filled, or saved as it is, and opened again.
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_NE(reopen(), nullptr);
  vidxEmptyIndex(index.get());
  indexDocs(index.get());
  EXPECT_EQ(textsOf(vidxGetWords(index.get())), Texts{"alpha"});
  vidxCompressLinks(index.get());
}

TEST_F(Index, SavingElsewhereOrNowhereIsReported) {
  const IndexPtr index = newIndex();
  Reports reports;
  const std::string nowhere = path("missing/");
  vidxStoreStorage(index.get(), nowhere.c_str());
  EXPECT_EQ(reports.take(), Texts{"throw:StorageReadError:" + nowhere});
  EXPECT_FALSE(index->words->isWritable());
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_EQ(reports.take(), Texts{});
}

// Tables that cannot be made anew or mapped again: calls are refused, and the index is mended by
// another try.
TEST_F(Index, TablesThatAreLostAreErrors) {
  const IndexPtr index = newIndex();
  const std::string kept = indexPath() + "kept";
  for (const auto lose : {&vidxEmptyIndex, &vidxIndexExclusions}) {
    writeFile(path("skip"), "the ");
    vidxSetSkipFilePath(index.get(), path("skip").c_str());
    index->indexPath = path("missing/");
    Reports reports;
    lose(index.get());
    EXPECT_EQ(reports.count("throw:MemFileOpenFail:"), 1);
    vidxIndexWord(index.get(), "word", 50);
    vidxNewFileLinks(index.get());
    vidxPrune(index.get());
    vidxStoreStorage(index.get(), path("missing/").c_str());
    index->indexPath = indexPath();
    lose(index.get());
    reports.take();
    vidxNewFileLinks(index.get());
    vidxIndexWord(index.get(), "word", 50);
    EXPECT_EQ(reports.take(), Texts{});
  }
  for (const char* name : {"words", "files"}) {
    std::filesystem::rename(indexPath() + name, kept);
    Reports reports;
    vidxStoreStorage(index.get(), indexPath().c_str());
    EXPECT_EQ(vfsAddFile(vidxGetFiles(index.get()), "name"), 0U);
    vidxIndexWord(index.get(), "other", 50);
    EXPECT_EQ(reports.count("throw:MemFileExtendFail:"), 2) << name;
    std::filesystem::rename(kept, indexPath() + name);
  }
}

// A table that cannot take more refuses, keeps its contents, and the index can still be saved.
TEST_F(Index, TableAtFourGigabytesRefusesMoreAndStaysUsable) {
  {
    const IndexPtr index = newIndex();
    vidxNewFileLinks(index.get());
    vidxIndexWord(index.get(), "alpha", 36);
    vidxCompressLinks(index.get());
    vidxStoreStorage(index.get(), indexPath().c_str());
  }
  constexpr uint32_t kSize = 0xFFFFFFF0;
  for (const char* name : {"words", "files"}) {
    std::string header = table(name).substr(0, 16);
    putU32(header, 0, kSize);
    putU32(header, 4, kSize);
    const int file = ::open((indexPath() + name).c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(file, header.data(), 16, 0), 16);
    ASSERT_EQ(ftruncate(file, off_t{kSize}), 0);
    close(file);
  }
  const std::string refused = "throw:GetHugeSpace:" + std::to_string(uint64_t{kSize} + 1048575);
  {
    const IndexPtr index = reopen();
    index->enableWrite(true);
    index->wordLinks = new CWordLinks(indexPath() + "temp", 65535, 1048575, true);
    Reports reports;
    EXPECT_EQ(vfsAddFile(vidxGetFiles(index.get()), "more"), 0U);
    EXPECT_EQ(reports.take(), Texts{refused});
    vidxIndexWord(index.get(), "beta", 36);
    EXPECT_EQ(reports.take(), Texts{refused});
    EXPECT_EQ(vidxGetWordsIndexed(index.get()), 0U);
    vidxIndexWord(index.get(), "alpha", 36);
    EXPECT_EQ(wordOf(index.get(), "alpha").count, 1U);
    vidxStoreStorage(index.get(), indexPath().c_str());
    EXPECT_EQ(reports.take(), Texts{});
  }
  const IndexPtr index = reopen();
  EXPECT_EQ(wordOf(index.get(), "alpha"), (Word{36, 1, 0, 0}));
}

}  // namespace
}  // namespace veska::test
