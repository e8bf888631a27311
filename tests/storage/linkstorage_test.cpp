#include "storage/linkstorage.h"

#include <cstring>

#include "api/veskalib.h"
#include "tests/support/leakcheck.h"
#include "tests/support/reports.h"
#include "tests/support/tablereader.h"

namespace veska::test {
namespace {

using LinkStorage = LeakCheckedTest;

std::string entry(uint32_t target, int count, bool ranking) {
  return bytesOf(target) + (ranking ? std::string(1, static_cast<char>(count)) : "");
}

TEST_F(LinkStorage, WordLinksAreGroupsByFile) {
  for (const bool ranking : {true, false}) {
    const std::string file = path("temp");
    {
      CWordLinks links(file, 100, 1000, ranking);
      links.addWord(70, 1001, 3);
      links.addWord(70, 1002, 255);
      links.addWord(90, 1001, 0);
      links.addWord(70, 1003, 1);

      unsigned long cursor = 16;
      unsigned char count = 9;
      EXPECT_EQ(links.getFile(cursor), 70U);
      EXPECT_EQ(links.getWord(cursor, count), 1001U);
      EXPECT_EQ(count, ranking ? 3 : 255);
      EXPECT_EQ(links.getWord(cursor, count), 1002U);
      EXPECT_EQ(links.getWord(cursor, count), 0U);
      EXPECT_EQ(links.getFile(cursor), 90U);
      cursor = links.usedBytes();
      EXPECT_EQ(links.getWord(cursor, count), 0U);
      EXPECT_EQ(count, 0);
      EXPECT_EQ(cursor, links.usedBytes() + links.entryBytes());
      EXPECT_EQ(links.getFile(cursor), 0U);
    }
    const std::string end = entry(0, 0, ranking);
    const std::string groups = bytesOf(70) + entry(1001, 3, ranking) + entry(1002, 255, ranking) +
                               end + bytesOf(90) + entry(1001, 0, ranking) + end + bytesOf(70) +
                               entry(1003, 1, ranking);
    const std::string bytes = readFile(file);
    EXPECT_EQ(bytes.substr(16, TableHeader(bytes).used - 16), groups) << "ranking " << ranking;
  }
}

TEST_F(LinkStorage, FileLinksAreWrittenAndReadInPlace) {
  const std::string file = path("links");
  {
    CFileLinks links(file, 100, 1000, true);
    const auto chunk = links.getSpace(14);
    EXPECT_EQ(chunk, 16U);
    links.addFile(16, 36, 7);
    links.setNextList(26, 16);
    EXPECT_EQ(links.getNextList(26), 16U);
    links.setNextList(26, 27);
    EXPECT_EQ(raised([&] { links.getNextList(26); }), "AssertionFailed:") << "leads forward";
    links.setNextList(26, 0);
    EXPECT_EQ(links.getNextList(26), 0U);
    for (const unsigned long outside : {27UL, 30UL, 0xFFFFFFFFUL}) {
      EXPECT_EQ(raised([&] { links.setNextList(outside, 0); }), "AssertionFailed:") << outside;
      EXPECT_EQ(raised([&] { links.getNextList(outside); }), "AssertionFailed:") << outside;
      EXPECT_EQ(raised([&] { links.addFile(outside, 1, 0); }), "AssertionFailed:") << outside;
      unsigned long cursor = outside;
      unsigned char count = 9;
      EXPECT_EQ(links.getFile(cursor, count), 0U);
      EXPECT_EQ(count, 0);
      EXPECT_EQ(static_cast<uint32_t>(cursor), static_cast<uint32_t>(outside + 5));
    }
    uint32_t cursor[2] = {16, 99};
    EXPECT_EQ(vflGetFile(&links, cursor), 36U);
    EXPECT_EQ(cursor[0], 21U);
    EXPECT_EQ(cursor[1], 7U);
    EXPECT_EQ(vflGetFile(&links, cursor), 0U);
    EXPECT_EQ(cursor[1], 0U);
  }
  EXPECT_EQ(readFile(file).substr(16, 15), bytesOf(36) + "\x07" + std::string(10, '\0'));
}

TEST_F(LinkStorage, RemovedLinksAreFoundOnTheEntryGridFromTheFilesStart) {
  CFileLinks links(path("links"), 100, 1000, false);
  links.getSpace(16);
  links.addFile(16, 1000, 0);
  links.addFile(20, 36, 0);
  links.addFile(24, 1000, 0);
  links.removeFile(35);
  links.removeFile(1000);  // the growth increment of the header, too
  unsigned char count = 0;
  unsigned long cursor = 12;
  for (const uint32_t expected : {1U, 1U, 36U, 1U, 0U}) {
    EXPECT_EQ(links.getFile(cursor, count), expected) << cursor;
    EXPECT_EQ(count, 255) << "without ranking";
  }
  links.getSpace(1000);  // the header's true values are the object's

  CFileLinks ranked(path("ranked"), 100, 1000, true);
  ranked.getSpace(14);
  ranked.addFile(20, 36, 4);
  ranked.addFile(16, 36, 4);  // off the grid
  std::memcpy(ranked.getPointer(20), bytesOf(36).data(), 4);
  ranked.removeFile(36);
  const std::string_view slots(static_cast<char*>(ranked.getPointer(16)), 8);
  EXPECT_EQ(u32At(slots, 0), 36U);
  EXPECT_EQ(u32At(slots, 4), 1U);
}

TEST_F(LinkStorage, SavedBlockHoldsMagicAndRanking) {
  const std::string file = path("links"), block = path("block");
  { CFileLinks links(file, 100, 1000, true); }
  for (const bool ranking : {true, false}) {
    {
      CFileLinks links(file, 100, 1000, ranking);
      FILE* out = std::fopen(block.c_str(), "wb");
      EXPECT_TRUE(links.store(out));
      std::fclose(out);
    }
    const std::string saved = readFile(block);
    EXPECT_EQ(saved, bytesOf(12360001) + std::string(1, ranking ? '\1' : '\0'));
    for (const std::string& bytes :
         {saved, saved.substr(0, 4), std::string(), bytesOf(12360002) + "\1"}) {
      writeFile(block, bytes);
      FILE* in = std::fopen(block.c_str(), "rb");
      EXPECT_EQ(raised([&] {
                  CFileLinks links(file, in);
                  EXPECT_EQ(links.ranking(), ranking);
                }),
                bytes == saved ? "" : "StorageReadError:" + file);
      std::rewind(in);
      EXPECT_EQ(raised([&] { CWordLinks links(file, in); }),
                bytes == saved ? "" : "StorageReadError:" + file);
      std::fclose(in);
    }
  }
}

}  // namespace
}  // namespace veska::test
