#include "storage/textstorage.h"

#include <cstring>
#include <random>

#include "tests/support/storedtable.h"

namespace veska::test {
namespace {

using TextStorage = StoredTableTest<CTextStorage>;

TEST_F(TextStorage, BytesOnDisk) {
  {
    CTextStorage table(file(), 90, 1000, 16, 3);
    EXPECT_EQ(table.getFirst(), 0U);
    EXPECT_EQ(table.addText("Apple"), 36U);
    EXPECT_EQ(table.addText("b\xE9"), 62U);
    std::memcpy(table.getData(62), "0123456789ABCDEF", 16);
    EXPECT_EQ(table.getData(62), table.getText(62) - 16);
    save(table);
  }
  std::string expected = bytesOf(90) + bytesOf(65) + bytesOf(90) + bytesOf(1000);
  const bool sameBucket = slowHash("Apple") % 3 == slowHash("b\xE9") % 3;
  expected += bytesOf(sameBucket ? 62 : 0) + std::string(16, '\0') + "Apple" + '\0';
  expected += bytesOf(0) + "0123456789ABCDEF" + "b\xE9";
  expected.resize(90);
  EXPECT_EQ(readFile(file()), expected);

  std::string saved = bytesOf(12350001) + bytesOf(20) + bytesOf(2) + bytesOf(12340001) + bytesOf(3);
  saved.resize(saved.size() + 12);
  putU32(saved, 20 + 4 * (slowHash("b\xE9") % 3), 62);
  putU32(saved, 20 + 4 * (slowHash("Apple") % 3), 36);
  EXPECT_EQ(readFile(block()), saved);
}

// What the look-ups of random texts below would not show.
TEST_F(TextStorage, HashEndsAt7FAndWithoutDataATextFollowsItsLink) {
  CTextStorage table(file(), 100, 65535, 0, 1000);
  EXPECT_EQ(table.addText("Apple"), 20U);
  EXPECT_EQ(table.getHash("x\177a"), slowHash("x") % 1000);
  EXPECT_EQ(table.getHash("\xC9T\xC9"), table.getHash("\xE9t\xE9"));
  const auto empty = table.addText("");
  EXPECT_EQ(table.lookup(""), empty);
  EXPECT_EQ(table.getNext(empty), 0U);
  EXPECT_EQ(table.getText(empty + 1), nullptr);
  EXPECT_EQ(table.getNext(empty + 1), 0U);
}

TEST_F(TextStorage, BucketsDoubleWhenTheEntriesPassThemAndIdsStay) {
  CTextStorage table(file(), 100, 65535, 0, 4);
  const auto bucketCount = [&] {
    save(table);
    const std::string bytes = readFile(block());
    BlockReader in(bytes);
    return TextBlock(in).buckets.size();
  };
  for (const char* text : {"a", "b", "c", "d"}) table.addText(text);
  EXPECT_EQ(bucketCount(), 4U);
  const auto c = table.lookup("c");
  table.addText("e");
  EXPECT_EQ(bucketCount(), 8U);
  EXPECT_EQ(table.lookup("c"), c);
}

// Random texts, looked up against a plain search of all that were added, while the table grows,
// rehashes and is saved, reopened and made writable again.
TEST_F(TextStorage, AgreesWithAPlainListOfItsTexts) {
  constexpr unsigned kSeed = 20261;
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  std::mt19937 random(kSeed);
  const std::string alphabet = "aAbB\x7F\xC9\xE9\x8A\x9A";
  const auto randomText = [&] {
    std::string text(random() % 6, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    return text;
  };
  auto table = std::make_unique<CTextStorage>(file(), 64, 4096, 16, 5);
  std::vector<std::pair<uint32_t, std::string>> added;
  const auto slowLookup = [&](const std::string& text) {
    for (const auto& [id, known] : added) {
      if (slowEqual(known, text)) return id;
    }
    return 0U;
  };
  for (int round = 0; round < 3000; ++round) {
    if (round % 500 == 499) {
      save(*table);
      table.reset();
      table = open();
      EXPECT_FALSE(table->isWritable());
      EXPECT_TRUE(raised([&] { table->addText("x"); }).starts_with("MemFileExtendFail:"));
      EXPECT_EQ(table->entryCount(), added.size());
      ASSERT_TRUE(table->enableWrite());
    }
    const std::string text = randomText();
    const uint32_t expected = slowLookup(text);
    ASSERT_EQ(table->lookup(text.c_str()), expected) << testing::PrintToString(text);
    if (expected == 0 || random() % 4 == 0) {
      added.emplace_back(static_cast<uint32_t>(table->addText(text.c_str())), text);
    }
  }
  save(*table);
  table.reset();

  const std::string bytes = readFile(file()), saved = readFile(block());
  BlockReader in(saved);
  const TextBlock hash(in);
  const std::vector<Entry> entries = entriesOf(bytes, 20);
  EXPECT_TRUE(TableHeader(bytes).zeroBehind);
  EXPECT_EQ(hash.count, added.size());
  EXPECT_LE(hash.count, hash.buckets.size());
  EXPECT_EQ(hash.buckets.size() % 5, 0U);
  ASSERT_EQ(entries.size(), added.size());
  std::vector<std::vector<uint32_t>> chains(hash.buckets.size());
  for (size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].id, added[i].first);
    EXPECT_EQ(entries[i].text, added[i].second);
    EXPECT_EQ(entries[i].data, std::string(16, '\0'));
    chains[slowHash(entries[i].text) % chains.size()].push_back(entries[i].id);
  }
  for (size_t b = 0; b < chains.size(); ++b) {
    EXPECT_EQ(chainOf(bytes, hash.buckets[b], 20), chains[b]) << "in the order of insertion";
  }
}

TEST_F(TextStorage, UnsoundBlocksAreRefused) {
  { save(CTextStorage(file(), 100, 1000, 0, 3)); }
  const std::string good = readFile(block());
  std::vector<std::string> bad = {"", good.substr(0, 11), good.substr(0, 19), good.substr(0, 31)};
  for (const auto& [at, value] : {std::pair{0U, 12350002U},
                                  {12U, 12340002U},
                                  {16U, 0U},
                                  {16U, 4U},
                                  {16U, 0xFFFFFFFFU},
                                  {4U, 0U}}) {
    bad.push_back(good);
    putU32(bad.back(), at, value);
  }
  for (const std::string& bytes : bad) {
    writeFile(block(), bytes);
    EXPECT_EQ(raised([&] { open(); }), "StorageReadError:" + file()) << bytes.size();
  }
  writeFile(block(), good);
  EXPECT_EQ(raised([&] { open(); }), "");
  writeFile(file(),
            bytesOf(100) + bytesOf(101) + bytesOf(100) + bytesOf(9) + std::string(84, '\0'));
  EXPECT_EQ(raised([&] { open(); }), "StorageReadError:" + file()) << "used beyond the file";
}

TEST_F(TextStorage, ChainsThatLeadOutsideOrBackwardAreAssertionFailures) {
  {
    CTextStorage table(file(), 100, 1000, 0, 1);
    table.addText("a");  // ids 20 and 26
    save(table);
  }
  const std::string goodTable = readFile(file()), goodBlock = readFile(block());
  const auto lookups = [&](uint32_t head, uint32_t next) {
    std::string table = goodTable, saved = goodBlock;
    putU32(saved, 20, head);
    putU32(table, 16, next);
    writeFile(file(), table);
    writeFile(block(), saved);
    auto opened = open();
    return raised([&] { opened->lookup("b"); });
  };
  EXPECT_EQ(lookups(20, 0), "");
  for (const uint32_t head : {22U, 99U, 0xFFFFFFFFU}) {
    EXPECT_EQ(lookups(head, 0), "AssertionFailed:") << head;
  }
  for (const uint32_t next : {20U, 5U, 22U, 0xFFFFFFFFU}) {
    EXPECT_EQ(lookups(20, next), "AssertionFailed:") << next;
  }
}

}  // namespace
}  // namespace veska::test
