#include "storage/filememory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "tests/support/leakcheck.h"
#include "tests/support/reports.h"
#include "tests/support/tablereader.h"

namespace veska::test {
namespace {

class FileMemory : public LeakCheckedTest {
 protected:
  const std::string& file() {
    file_ = path("table");
    return file_;
  }
  // A file with this header, `length` bytes long.
  void writeTable(uint32_t size, uint32_t used, uint32_t increment, off_t length) {
    writeFile(file(), bytesOf(size) + bytesOf(used) + bytesOf(100) + bytesOf(increment));
    ASSERT_EQ(truncate(file().c_str(), length), 0);
  }

 private:
  std::string file_;
};

TEST_F(FileMemory, GrowsByDoublingThenByTheIncrementOrToExactlyWhatIsNeeded) {
  const struct {
    uint32_t request, offset, fileBytes;
  } steps[][4] = {
      // Up to the initial size, doubled, doubled, then by the increment.
      {{84, 16, 100}, {1, 100, 200}, {200, 101, 400}, {100, 301, 800}},
      // More than doubling gives.
      {{300, 16, 316}, {0, 316, 316}, {1, 316, 632}, {400, 317, 1032}},
  };
  for (const auto& run : steps) {
    CFileMemory table(file(), 100, 400);
    EXPECT_EQ(table.fileBytes(), 100U);
    EXPECT_EQ(table.usedBytes(), 16U);
    for (const auto& step : run) {
      EXPECT_EQ(table.getNewSpace(step.request), step.offset);
      EXPECT_EQ(table.fileBytes(), step.fileBytes);
      EXPECT_EQ(readFile(file()).size(), step.fileBytes);
    }
  }
}

TEST_F(FileMemory, RequestOfExactlyTheIncrementSucceedsAndOneByteMoreChangesNothing) {
  CFileMemory table(file(), 100, 400);
  EXPECT_EQ(raised([&] { table.getNewSpace(401); }), "GetHugeSpace:401");
  EXPECT_EQ(table.usedBytes(), 16U);
  EXPECT_EQ(table.fileBytes(), 100U);
  EXPECT_EQ(table.getNewSpace(400), 16U);
}

TEST_F(FileMemory, OffsetsAtUsedAndBeyondAreOutOfReach) {
  CFileMemory table(file(), 100, 400);
  EXPECT_EQ(table.getPointer(16), nullptr);
  EXPECT_NE(table.getPointer(15), nullptr);
  table.getNewSpace(4);
  EXPECT_EQ(table.getPointer(19), static_cast<char*>(table.getPointer(16)) + 3);
  EXPECT_EQ(table.getPointer(20), nullptr);
  EXPECT_EQ(table.getPointer(0xFFFFFFFF), nullptr);
  EXPECT_EQ(table.getPointer((1UL << 32) + 16), table.getPointer(16)) << "ids have 32 bits";
}

TEST_F(FileMemory, NewTableReplacesAFileByZerosAndReopensAsItWasLeft) {
  writeFile(file(), std::string(5000, 'x'));
  {
    CFileMemory table(file(), 100, 400);
    std::memcpy(table.getPointer(table.getNewSpace(3)), "abc", 3);
  }
  std::string expected = bytesOf(100) + bytesOf(19) + bytesOf(100) + bytesOf(400) + "abc";
  expected.resize(100);
  EXPECT_EQ(readFile(file()), expected);
  CFileMemory again(file());
  EXPECT_EQ(again.usedBytes(), 19U);
  EXPECT_EQ(again.fileBytes(), 100U);
  EXPECT_FALSE(again.isWritable());
  ASSERT_TRUE(again.enableWrite());
  EXPECT_TRUE(again.enableWrite()) << "already writable";
  EXPECT_EQ(again.getNewSpace(200), 19U) << "increment and initial size come from the file";
  EXPECT_EQ(again.fileBytes(), 219U);
  EXPECT_TRUE(again.disableWrite());
  EXPECT_EQ(TableHeader(readFile(file())).used, 219U);
}

TEST_F(FileMemory, ReadOnlyTableIsNeverWrittenThrough) {
  { CFileMemory table(file(), 100, 400); }
  const std::string before = readFile(file());
  {
    CFileMemory table(file());
    const std::string report = raised([&] { table.getNewSpace(8); });
    EXPECT_TRUE(report.starts_with("MemFileExtendFail:")) << report << ", though 84 bytes are left";
    EXPECT_EQ(table.usedBytes(), 16U);
    std::memset(table.getPointer(0), 'x', 16);  // private to this process
    EXPECT_TRUE(table.enableWrite());
    EXPECT_EQ(table.getNewSpace(8), 16U);
  }
  EXPECT_EQ(TableHeader(readFile(file())).used, 24U);
  EXPECT_EQ(TableHeader(readFile(file())).fileBytes, 100U);
  EXPECT_EQ(TableHeader(before).used, 16U);
}

TEST_F(FileMemory, EmptyObjectAnswersInsteadOfFailing) {
  CFileMemory missing(file());
  EXPECT_EQ(missing.getPointer(0), nullptr);
  EXPECT_FALSE(missing.enableWrite());
  EXPECT_FALSE(missing.openForRead());
  EXPECT_EQ(missing.fileBytes(), 0U);

  CFileMemory cleared(file(), 100, 400);
  struct stat status {};
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U) << "for the owner alone";
  EXPECT_EQ(cleared.getStoragePath(), file());
  cleared.clearAll();
  EXPECT_EQ(cleared.getStoragePath(), ".");
  EXPECT_EQ(cleared.usedBytes(), 0U);
  EXPECT_EQ(cleared.getPointer(0), nullptr);
  cleared.setStoragePath(file());
  EXPECT_EQ(cleared.getStoragePath(), file());
  EXPECT_EQ(cleared.getPointer(0), nullptr);

  const std::string nowhere = path("missing/table");
  EXPECT_EQ(raised([&] { CFileMemory table(nowhere, 100, 400); }), "MemFileOpenFail:" + nowhere);
}

TEST_F(FileMemory, HeaderIsHeldAgainstTheRealFile) {
  const std::string refused = "FileMapWriteFail:" + file();
  const struct {
    uint32_t size, used;
    off_t length;
    std::string report;
    uint32_t opened;  // bytes in use then
  } cases[] = {
      {64, 16, 64, "", 16},     {64, 64, 64, "", 64},    {64, 40, 100, "", 40},
      {65, 16, 64, refused, 0}, {0, 16, 64, refused, 0}, {0xFFFFFFFF, 16, 64, refused, 0},
      {64, 15, 64, "", 0},      {64, 65, 64, "", 0},     {64, 0, 64, "", 0},
      {8, 16, 64, "", 0},       {16, 16, 16, "", 16},    {3, 3, 64, "", 0},
      {64, 0xFFFFFFFF, 64, "", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "size " << c.size << " used " << c.used);
    writeTable(c.size, c.used, 400, c.length);
    EXPECT_EQ(raised([&] {
                CFileMemory table(file());
                EXPECT_EQ(table.usedBytes(), c.opened);
                EXPECT_EQ(table.getPointer(0) != nullptr, c.opened != 0);
              }),
              c.report);
  }
  writeFile(file(), "abc");
  CFileMemory tooShort(file());
  EXPECT_FALSE(tooShort.openForRead());
  EXPECT_FALSE(tooShort.openForWrite());
}

TEST_F(FileMemory, GrowthPastFourGigabytesIsRefusedAndTheTableStaysUsable) {
  constexpr uint32_t kSize = 0xFFFFFFF0;  // sparse: takes no room
  writeTable(kSize, kSize - 8, 1048575, kSize);
  {
    CFileMemory table(file());
    ASSERT_TRUE(table.enableWrite());
    EXPECT_EQ(raised([&] { table.getNewSpace(64); }),
              "GetHugeSpace:" + std::to_string(uint64_t{kSize} + 1048575));
    EXPECT_EQ(table.usedBytes(), kSize - 8);
    EXPECT_EQ(table.getNewSpace(8), kSize - 8);
    *static_cast<char*>(table.getPointer(kSize - 1)) = 'z';
    EXPECT_FALSE(raised([&] { table.getNewSpace(1); }).empty());
    EXPECT_TRUE(table.disableWrite());
    EXPECT_EQ(*static_cast<char*>(table.getPointer(kSize - 1)), 'z');
  }
  struct stat status {};
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_size, off_t{kSize});
}

}  // namespace
}  // namespace veska::test
