#include "storage/filestorage.h"

#include <cstring>
#include <random>

#include "api/veskalib.h"
#include "tests/support/storedtable.h"

namespace veska::test {
namespace {

using FileStorage = StoredTableTest<CFileStorage>;

TEST_F(FileStorage, BytesOnDisk) {
  {
    CFileStorage table(file(), 2);
    EXPECT_EQ(table.addFile("/docs"), 36U);
    EXPECT_EQ(table.addFile("a"), 62U);
    void* record = table.getData(62);
    EXPECT_EQ(static_cast<char*>(record) + 16, table.getText(62));
    vfiSetFileParentID(record, 36);
    vfiSetFileTimeLastWritten(record, 2082844800.0 - 2);
    vfiSetFileSize(record, 0xFEDCBA98);
    vfiSetFileAttributes(record, 7);
    EXPECT_STREQ(vfiGetFileName(record), "a");
    save(table);
  }
  const bool sameBucket = slowHash("/docs") % 2 == slowHash("a") % 2;
  std::string expected = bytesOf(65535) + bytesOf(64) + bytesOf(65535) + bytesOf(1048575);
  expected += bytesOf(sameBucket ? 62 : 0) + std::string(16, '\0') + "/docs" + '\0';
  expected +=
      bytesOf(0) + bytesOf(36) + bytesOf(0xFFFFFFFE) + bytesOf(0xFEDCBA98) + bytesOf(7) + "a";
  expected.resize(65535);
  EXPECT_EQ(readFile(file()), expected);
  std::string saved = bytesOf(12370001) + bytesOf(20) + bytesOf(12340001) + bytesOf(2);
  saved.resize(saved.size() + 8);
  putU32(saved, 16 + 4 * (slowHash("a") % 2), 62);
  putU32(saved, 16 + 4 * (slowHash("/docs") % 2), 36);
  EXPECT_EQ(readFile(block()), saved);
}

TEST_F(FileStorage, ObsoleteRecordsKeepTheirPlaceUnderAnotherName) {
  CFileStorage table(file(), 1000);
  EXPECT_EQ(table.getFirst(), 0U);
  const auto first = table.addFile("Notes"), empty = table.addFile("");
  for (int i = 0; i < 2; ++i) vfiMarkFileObsolete(table.getData(first));
  vfiMarkFileObsolete(table.getData(empty));
  EXPECT_STREQ(table.getText(first), "\xFFotes");
  EXPECT_STREQ(table.getText(empty), "");
  EXPECT_EQ(table.getFirst(), first);
  EXPECT_EQ(table.getNext(first), empty);
  EXPECT_EQ(table.getNext(empty), 0U);
  EXPECT_EQ(table.getData(0), nullptr);
  EXPECT_EQ(table.getData(table.usedBytes()), nullptr);
}

// What a walk over the raw bytes of the chain finds.
uint32_t slowLookup(CFileStorage& table, const std::vector<uint32_t>& heads, const char* name,
                    uint32_t parent, bool exact) {
  const std::string_view bytes(static_cast<char*>(table.getPointer(0)), table.usedBytes());
  for (const uint32_t id : chainOf(bytes, heads[slowHash(name) % heads.size()], 20)) {
    const std::string known = textAt(bytes, id);
    if (u32At(bytes, id - 16) == parent && (exact ? known == name : slowEqual(known, name))) {
      return id;
    }
  }
  return 0;
}

// Records are added, moved to other parents and marked obsolete through pointers that the table
// gave out, at any time; few buckets make every chain long and mixed.
class FileStorageOracle : public FileStorage, public testing::WithParamInterface<bool> {};

TEST_P(FileStorageOracle, AgreesWithAWalkOfTheChain) {
  const bool exact = GetParam();
  constexpr unsigned kSeed = 77;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const std::string first = "aAb\xC9\xE9\x7F\xFF";
  const auto randomName = [&] {
    std::string name(1 + random() % 4, ' ');
    for (char& c : name) c = first[random() % first.size()];
    return name;
  };
  auto table = std::make_unique<CFileStorage>(file(), 7);
  table->setExactNames(exact);
  std::vector<uint32_t> ids;
  std::vector<uint32_t> heads;
  void* held = nullptr;
  for (int round = 0; round < 9000; ++round) {
    const std::string name = randomName();
    const auto parent = static_cast<uint32_t>(random() % 6);
    switch (random() % 8) {
      case 0:
      case 1:
      case 2: {
        ids.push_back(static_cast<uint32_t>(table->addFile(name.c_str())));
        held = table->getData(ids.back());
        if (random() % 2 != 0) vfiSetFileParentID(held, parent);
        save(*table);
        const std::string saved = readFile(block());
        BlockReader in(saved);
        heads = FileBlock(in).buckets;
        break;
      }
      case 3:
        if (held) vfiSetFileParentID(held, parent);
        break;
      case 4:
        if (!ids.empty()) vfiSetFileParentID(table->getData(ids[random() % ids.size()]), parent);
        break;
      case 5:
        if (ids.size() > 1 && random() % 4 == 0) {
          vfiMarkFileObsolete(table->getData(ids[1 + random() % (ids.size() - 1)]));
        }
        break;
      default:
        break;
    }
    if (heads.empty() || round % 2 == 0) continue;
    ASSERT_EQ(table->lookupFile(name.c_str(), parent),
              slowLookup(*table, heads, name.c_str(), parent, exact))
        << testing::PrintToString(name) << " in " << parent << ", round " << round;
    if (round % 2000 == 1999) {
      const uint32_t before = table->usedBytes();
      table.reset();
      table = open();
      table->setExactNames(exact);
      held = nullptr;
      ASSERT_EQ(table->usedBytes(), before);
      // A look-up before and a lost write into the private mapping must not outlive enableWrite.
      table->lookupFile(name.c_str(), parent);
      vfiSetFileParentID(table->getData(ids[0]), 4711);
      EXPECT_NE(table->lookupFile(table->getText(ids[0]), 4711), 0U);
      ASSERT_TRUE(table->enableWrite());
      EXPECT_EQ(table->lookupFile(table->getText(ids[0]), 4711), 0U);
    }
  }
  EXPECT_GT(table->fileBytes(), 65535U) << "the file has grown on the way";

  const std::string bytes(static_cast<char*>(table->getPointer(0)), table->usedBytes());
  size_t chained = 0;
  for (const uint32_t head : heads) {
    const std::vector<uint32_t> chain = chainOf(bytes, head, 20);
    EXPECT_TRUE(std::is_sorted(chain.begin(), chain.end())) << "new records go to the tail";
    chained += chain.size();
  }
  EXPECT_EQ(chained, ids.size());
}

INSTANTIATE_TEST_SUITE_P(Names, FileStorageOracle, testing::Values(false, true),
                         [](const auto& kind) { return kind.param ? "Exact" : "Folded"; });

TEST_F(FileStorage, UnsoundBlocksAndChainsAreRefused) {
  {
    CFileStorage table(file(), 1);
    table.addFile("a");
    save(table);
  }
  const std::string goodTable = readFile(file()), goodBlock = readFile(block());
  for (const auto& [at, value] : {std::pair{0U, 12350001U},
                                  {4U, 0U},
                                  {4U, 16U},
                                  {8U, 12370001U},
                                  {12U, 0U},
                                  {12U, 2U},
                                  {12U, 0x40000000U}}) {
    std::string bad = goodBlock;
    putU32(bad, at, value);
    writeFile(block(), bad);
    EXPECT_EQ(raised([&] { open(); }), "StorageReadError:" + file()) << at << " " << value;
  }
  for (const auto& [head, next] :
       {std::pair{36U, 36U}, {36U, 20U}, {36U, 0xFFFFFFFFU}, {38U, 0U}, {0xFFFFFFF0U, 0U}}) {
    std::string table = goodTable, saved = goodBlock;
    putU32(table, 16, next);
    putU32(saved, 16, head);
    writeFile(file(), table);
    writeFile(block(), saved);
    auto opened = open();
    EXPECT_EQ(raised([&] { opened->lookupFile("b", 0); }), "AssertionFailed:")
        << head << " " << next;
    ASSERT_TRUE(opened->enableWrite());
    EXPECT_EQ(raised([&] { opened->addFile("b"); }), "AssertionFailed:") << head << " " << next;
  }
}

}  // namespace
}  // namespace veska::test
