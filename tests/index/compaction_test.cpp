#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Compaction = IndexTest;
using Link = std::pair<uint32_t, int>;
using Chunks = std::vector<std::vector<Link>>;

// The links of a word in the saved table, newest chunk first.
#define EXPECT_LINKS(index, word, ...) \
  EXPECT_EQ(chunksOf(table("links"), wordOf((index), (word)).chunk), (Chunks __VA_ARGS__)) << (word)

TEST_F(Compaction, BytesOfChunks) {
  for (const bool ranking : {true, false}) {
    const IndexPtr index = newIndex();
    vidxSetUseRanking(index.get(), ranking);
    vidxNewFileLinks(index.get());
    EXPECT_EQ(index->links->usedBytes(), 20U) << "4 bytes, so that no chunk is at the start";
    // "three" is handed three times, "one" once; the last file of each stays pending.
    for (const unsigned long file : {100UL, 200UL, 300UL, 400UL}) {
      vidxIndexWord(index.get(), "three", file);
      vidxIndexWord(index.get(), "three", file);
      if (file <= 200) vidxIndexWord(index.get(), "one", file);
    }
    vidxIndexWord(index.get(), "pending", 400);
    vidxCompressLinks(index.get());
    EXPECT_EQ(index->wordLinks, nullptr);
    EXPECT_EQ(access((indexPath() + "temp").c_str(), F_OK), -1);

    const auto entry = [&](uint32_t file, int count) {
      return bytesOf(file) + (ranking ? std::string(1, static_cast<char>(count)) : "");
    };
    const std::string expected = entry(300, 1) + entry(200, 1) + entry(100, 1) + entry(0, 0) +
                                 bytesOf(0) + entry(100, 0) + entry(0, 0) + bytesOf(0);
    EXPECT_EQ(index->links->usedBytes(), 20 + expected.size());
    EXPECT_EQ(std::string(static_cast<char*>(index->links->getPointer(20)), expected.size()),
              expected);
    const uint32_t second = 20 + 4 * (ranking ? 5 : 4) + 4;
    EXPECT_EQ(wordOf(index.get(), "three"), (Word{400, ranking ? 1U : 0U, 20, 0}));
    EXPECT_EQ(wordOf(index.get(), "one"), (Word{200, 0, second, 0}));
    EXPECT_EQ(wordOf(index.get(), "pending"), (Word{400, 0, 0, 0}));

    // As a host reads them.
    uint32_t cursor[2] = {20, 0};
    for (const uint32_t file : {300U, 200U, 100U, 0U}) {
      EXPECT_EQ(vflGetFile(vidxGetLinks(index.get()), cursor), file);
    }
    EXPECT_EQ(vflGetNextList(vidxGetLinks(index.get()), cursor[0]), 0U);
  }
}

TEST_F(Compaction, LaterRunsChainChunksOfNewLinksOnly) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  for (const unsigned long file : {100UL, 200UL, 300UL}) {
    vidxIndexWord(index.get(), "busy", file);
    vidxIndexWord(index.get(), "idle", file);
  }
  vidxCompressLinks(index.get());
  vidxStoreStorage(index.get(), indexPath().c_str());

  vidxPrune(index.get());  // begins a rebuild and makes the tables writable
  vidxIndexWord(index.get(), "busy", 400);
  vidxIndexWord(index.get(), "busy", 400);
  vidxIndexWord(index.get(), "busy", 500);
  const uint32_t used = index->links->usedBytes();
  vidxCompressLinks(index.get());
  EXPECT_EQ(index->links->usedBytes(), used + 3 * 5 + 4) << "no chunk for the idle word";
  vidxPrune(index.get());
  vidxIndexWord(index.get(), "busy", 600);
  vidxCompressLinks(index.get());
  vidxPrune(index.get());
  vidxCompressLinks(index.get());
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_LINKS(index.get(), "busy", {{{500, 0}}, {{400, 1}, {300, 0}}, {{200, 0}, {100, 0}}});
  EXPECT_LINKS(index.get(), "idle", {{{200, 0}, {100, 0}}});
  EXPECT_EQ(wordOf(index.get(), "busy").lastFile, 600U);
  EXPECT_EQ(wordOf(index.get(), "idle").handed, 0U);
}

// A file whose pairing is pending again keeps its slot empty: it is passed over, not written.
TEST_F(Compaction, LinksOfTheLastSeenFileArePassedOver) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  for (const unsigned long file : {100UL, 200UL, 100UL}) vidxIndexWord(index.get(), "word", file);
  EXPECT_EQ(wordOf(index.get(), "word").handed, 2U);
  vidxCompressLinks(index.get());
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{100, 0, 25, 0}));
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_LINKS(index.get(), "word", {{{200, 0}}});
}

TEST_F(Compaction, ManyWordsAndFilesKeepEveryPairing) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  const auto occurs = [](uint32_t file, int word) {
    return file % static_cast<uint32_t>(word) == 0;
  };
  for (uint32_t file = 100; file < 2100; ++file) {
    for (int word = 1; word <= 12; ++word) {
      for (uint32_t i = 0; occurs(file, word) && i <= file % 3; ++i) {
        vidxIndexWord(index.get(), ("w" + std::to_string(word)).c_str(), file);
      }
    }
  }
  vidxCompressLinks(index.get());
  vidxStoreStorage(index.get(), indexPath().c_str());
  for (int word = 1; word <= 12; ++word) {
    std::vector<Link> expected;
    for (uint32_t file = 2099; file >= 100; --file) {
      if (occurs(file, word)) expected.emplace_back(file, static_cast<int>(file % 3));
    }
    const std::string name = "w" + std::to_string(word);
    EXPECT_EQ(wordOf(index.get(), name.c_str()).lastFile, expected.front().first);
    expected.erase(expected.begin());
    EXPECT_EQ(chunksOf(table("links"), wordOf(index.get(), name.c_str()).chunk), Chunks{expected});
  }
}

// Links that a run handed over and never compacted are lost; their slots stay empty.
TEST_F(Compaction, CountsOfAnAbandonedRunTakeSlots) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  for (uint32_t file = 100; file <= 110; ++file) vidxIndexWord(index.get(), "word", file);
  vidxPrune(index.get());
  vidxIndexWord(index.get(), "word", 200);
  vidxCompressLinks(index.get());
  EXPECT_EQ(index->links->usedBytes(), 20U + 12 * 5 + 4);
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{200, 0, 20 + 10 * 5, 0}));
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_LINKS(index.get(), "word", {{{110, 0}}});
}

// More links than one request may ask for: 210,000 entries of 5 bytes.
TEST_F(Compaction, ChunkLargerThanTheIncrementIsOnePiece) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  for (uint32_t file = 100; file <= 210100; ++file) vidxIndexWord(index.get(), "word", file);
  Reports reports;
  vidxCompressLinks(index.get());
  EXPECT_EQ(reports.take(), Texts{});
  vidxStoreStorage(index.get(), indexPath().c_str());
  const auto chunks = chunksOf(table("links"), wordOf(index.get(), "word").chunk);
  ASSERT_EQ(chunks.size(), 1U);
  ASSERT_EQ(chunks[0].size(), 210000U);
  EXPECT_EQ(chunks[0].front().first, 210099U);
  EXPECT_EQ(chunks[0].back().first, 100U);
}

TEST_F(Compaction, NewLinksForgetTheChunksAndKeepWhatIsPending) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  for (const unsigned long file : {100UL, 200UL}) vidxIndexWord(index.get(), "word", file);
  vidxCompressLinks(index.get());
  CFileLinks* held = vidxGetLinks(index.get());
  vidxNewFileLinks(index.get());
  EXPECT_EQ(wordOf(index.get(), "word"), (Word{200, 0, 0, 0}));
  uint32_t cursor[2] = {20, 0};
  EXPECT_EQ(vflGetFile(held, cursor), 0U) << "a handle held by the host reads nothing";
  vidxIndexWord(index.get(), "word", 300);
  vidxCompressLinks(index.get());
  vidxStoreStorage(index.get(), indexPath().c_str());
  EXPECT_LINKS(index.get(), "word", {{{200, 0}}});
}

TEST_F(Compaction, ReportsItsStepsAndCannotBeHalted) {
  const IndexPtr index = newIndex();
  vidxSetShowStatus(index.get(), true);
  vidxNewFileLinks(index.get());
  for (const char* word : {"a", "b", "c"}) {
    vidxIndexWord(index.get(), word, 100);
    vidxIndexWord(index.get(), word, 200);
  }
  Reports reports;
  reports.answer = [](const std::string&) { return false; };
  vidxCompressLinks(index.get());
  EXPECT_EQ(reports.take(),
            (Texts{"status:CountingCompress:0", "status:CountingCompress:5",
                   "status:CountingCompress:10", "status:CompLinksFmt:0\t50000", "status:Done:"}));
  EXPECT_NE(wordOf(index.get(), "c").chunk, 0U);
}

}  // namespace
}  // namespace veska::test
