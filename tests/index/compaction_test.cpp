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
    vidxSetUseRanking(index, ranking);
    vidxNewFileLinks(index);
    EXPECT_EQ(index->links->usedBytes(), 20U) << "4 bytes, so that no chunk is at the start";
    // "three" is handed three times, "one" once; the last file of each stays pending.
    for (const unsigned long file : {100UL, 200UL, 300UL, 400UL}) {
      vidxIndexWord(index, "three", file);
      vidxIndexWord(index, "three", file);
      if (file <= 200) vidxIndexWord(index, "one", file);
    }
    vidxIndexWord(index, "pending", 400);
    vidxCompressLinks(index);
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
    EXPECT_EQ(wordOf(index, "three"), (Word{400, ranking ? 1U : 0U, 20, 0}));
    EXPECT_EQ(wordOf(index, "one"), (Word{200, 0, second, 0}));
    EXPECT_EQ(wordOf(index, "pending"), (Word{400, 0, 0, 0}));

    // As a host reads them.
    uint32_t cursor[2] = {20, 0};
    for (const uint32_t file : {300U, 200U, 100U, 0U}) {
      EXPECT_EQ(vflGetFile(vidxGetLinks(index), cursor), file);
    }
    EXPECT_EQ(vflGetNextList(vidxGetLinks(index), cursor[0]), 0U);
  }
}

TEST_F(Compaction, LaterRunsChainChunksOfNewLinksOnly) {
  const IndexPtr index = linkedIndex();
  for (const unsigned long file : {100UL, 200UL, 300UL}) {
    vidxIndexWord(index, "busy", file);
    vidxIndexWord(index, "idle", file);
  }
  save(index);

  vidxPrune(index);  // begins a rebuild and makes the tables writable
  vidxIndexWord(index, "busy", 400);
  vidxIndexWord(index, "busy", 400);
  vidxIndexWord(index, "busy", 500);
  const uint32_t used = index->links->usedBytes();
  vidxCompressLinks(index);
  EXPECT_EQ(index->links->usedBytes(), used + 3 * 5 + 4) << "no chunk for the idle word";
  vidxPrune(index);
  vidxIndexWord(index, "busy", 600);
  vidxCompressLinks(index);
  vidxPrune(index);
  save(index);
  EXPECT_LINKS(index, "busy", {{{500, 0}}, {{400, 1}, {300, 0}}, {{200, 0}, {100, 0}}});
  EXPECT_LINKS(index, "idle", {{{200, 0}, {100, 0}}});
  EXPECT_EQ(wordOf(index, "busy").lastFile, 600U);
  EXPECT_EQ(wordOf(index, "idle").handed, 0U);
}

// A file whose pairing is pending again keeps its slot empty: it is passed over, not written.
TEST_F(Compaction, LinksOfTheLastSeenFileArePassedOver) {
  const IndexPtr index = linkedIndex();
  for (const unsigned long file : {100UL, 200UL, 100UL}) vidxIndexWord(index, "word", file);
  EXPECT_EQ(wordOf(index, "word").handed, 2U);
  vidxCompressLinks(index);
  EXPECT_EQ(wordOf(index, "word"), (Word{100, 0, 25, 0}));
  vidxStoreStorage(index, indexPath().c_str());
  EXPECT_LINKS(index, "word", {{{200, 0}}});
}

// Links that a run handed over and never compacted are lost; their slots stay empty.
TEST_F(Compaction, CountsOfAnAbandonedRunTakeSlots) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index);
  for (uint32_t file = 100; file <= 110; ++file) vidxIndexWord(index, "word", file);
  vidxPrune(index);
  vidxIndexWord(index, "word", 200);
  vidxCompressLinks(index);
  EXPECT_EQ(index->links->usedBytes(), 20U + 12 * 5 + 4);
  EXPECT_EQ(wordOf(index, "word"), (Word{200, 0, 20 + 10 * 5, 0}));
  vidxStoreStorage(index, indexPath().c_str());
  EXPECT_LINKS(index, "word", {{{110, 0}}});
}

// More links than one request may ask for: 210,000 entries of 5 bytes.
TEST_F(Compaction, ChunkLargerThanTheIncrementIsOnePiece) {
  const IndexPtr index = linkedIndex();
  for (uint32_t file = 100; file <= 210100; ++file) vidxIndexWord(index, "word", file);
  Reports reports;
  vidxCompressLinks(index);
  EXPECT_EQ(reports.take(), Texts{});
  vidxStoreStorage(index, indexPath().c_str());
  const auto chunks = chunksOf(table("links"), wordOf(index, "word").chunk);
  ASSERT_EQ(chunks.size(), 1U);
  ASSERT_EQ(chunks[0].size(), 210000U);
  EXPECT_EQ(chunks[0].front().first, 210099U);
  EXPECT_EQ(chunks[0].back().first, 100U);
}

TEST_F(Compaction, NewLinksForgetTheChunksAndKeepWhatIsPending) {
  const IndexPtr index = linkedIndex();
  for (const unsigned long file : {100UL, 200UL}) vidxIndexWord(index, "word", file);
  vidxCompressLinks(index);
  CFileLinks* held = vidxGetLinks(index);
  vidxNewFileLinks(index);
  EXPECT_EQ(wordOf(index, "word"), (Word{200, 0, 0, 0}));
  uint32_t cursor[2] = {20, 0};
  EXPECT_EQ(vflGetFile(held, cursor), 0U) << "a handle held by the host reads nothing";
  vidxIndexWord(index, "word", 300);
  save(index);
  EXPECT_LINKS(index, "word", {{{200, 0}}});
}

TEST_F(Compaction, ReportsItsStepsAndCannotBeHalted) {
  const IndexPtr index = newIndex();
  vidxSetShowStatus(index, true);
  vidxNewFileLinks(index);
  for (const char* word : {"a", "b", "c"}) {
    vidxIndexWord(index, word, 100);
    vidxIndexWord(index, word, 200);
  }
  Reports reports;
  reports.answer = [](const std::string&) { return false; };
  vidxCompressLinks(index);
  EXPECT_EQ(reports.take(),
            (Texts{"status:CountingCompress:0", "status:CountingCompress:5",
                   "status:CountingCompress:10", "status:CompLinksFmt:0\t50000", "status:Done:"}));
  EXPECT_NE(wordOf(index, "c").chunk, 0U);
}

}  // namespace
}  // namespace veska::test
