// Ranking, filters, names and verification on small real indexes; and what damage does to them.
#include "host/reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/attempt.h"
#include "host/filters.h"
#include "host/locate.h"
#include "host/query.h"
#include "host/search.h"
#include "host/verify.h"
#include "tests/host/smallindex.h"

namespace veska {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

class ReaderTest : public testing::Test {
 protected:
  std::vector<std::string> search(Reader& reader, const std::string& text,
                                  const SearchOptions& options = {}) {
    const QueryResult parsed = parseQuery(text);
    EXPECT_TRUE(parsed.query) << parsed.error.message;
    std::vector<std::string> names;
    for (const Ranked& found : Search(reader, *parsed.query, {10, 1000}).run(options).found) {
      names.push_back(reader.path(found.file).substr(files_.folder().size() + 1));
    }
    return names;
  }

  test::SmallIndex files_;
};

TEST_F(ReaderTest, RanksByOccurrencesRarityAndLength) {
  files_.write("often.txt", "cat cat cat cat and so on, words that fill the line up\n");
  files_.write("once.txt", "cat and so on and on, words that fill the line up to it\n");
  files_.write("long.txt", "cat " + std::string(800, '.') + "\n");
  files_.write("rare.txt", "cat dragon and so on, words that fill the line up to it\n");
  files_.build();
  Reader reader(files_.open());
  EXPECT_THAT(search(reader, "cat"), ElementsAre("often.txt", "rare.txt", "once.txt", "long.txt"));
  EXPECT_THAT(search(reader, "cat OR dragon"),
              ElementsAre("rare.txt", "often.txt", "once.txt", "long.txt"));
  SearchOptions two;
  two.limit = 2;
  EXPECT_THAT(search(reader, "cat", two), ElementsAre("often.txt", "rare.txt"));
}

TEST_F(ReaderTest, EqualScoresComeNewestFirst) {
  for (const char* name : {"a.txt", "b.txt", "c.txt"}) files_.write(name, "cat dog\n");
  files_.build();
  Reader reader(files_.open());
  EXPECT_THAT(search(reader, "cat"), ElementsAre("c.txt", "b.txt", "a.txt"));
}

TEST_F(ReaderTest, FiltersByFolderNameAndTime) {
  files_.write("in/a.txt", "cat .\n");
  files_.write("in/deep/b.md", "cat .\n");
  files_.write("inside/c.txt", "cat .\n");
  files_.build();
  Reader reader(files_.open());
  SearchOptions options;
  options.filter.folders = {files_.folder() + "/in"};
  EXPECT_THAT(search(reader, "cat", options), UnorderedElementsAre("in/a.txt", "in/deep/b.md"));
  options.filter.name = "*.MD";
  EXPECT_THAT(search(reader, "cat", options), ElementsAre("in/deep/b.md"));
  SearchOptions byTime;
  byTime.filter.newer = reader.record(locate(reader, files_.folder() + "/in/deep/b.md")).time;
  EXPECT_THAT(search(reader, "cat", byTime), ElementsAre("inside/c.txt", "in/deep/b.md"));
  byTime.filter.older = *byTime.filter.newer + 1;
  EXPECT_THAT(search(reader, "cat", byTime), ElementsAre("in/deep/b.md"));
}

TEST(Filters, MomentsAreDatesOrAges) {
  constexpr std::time_t kNow = 1700000000;
  EXPECT_EQ(parseMoment("3d", kNow), kNow - 3 * 86400);
  EXPECT_EQ(parseMoment("90m", kNow), kNow - 5400);
  EXPECT_EQ(*parseMoment("2024-03-01", kNow) - *parseMoment("2024-02-28", kNow), 2 * 86400);
  for (const char* bad : {"", "d", "3", "3 d", "-3d", "3days", "2024-13-01", "2024-02-30", "2024-2",
                          "2024-03-01x", "99999999999d"}) {
    EXPECT_FALSE(parseMoment(bad, kNow)) << bad;
  }
}

TEST_F(ReaderTest, FilesAreLocatedAsTheyArePrinted) {
  const std::string odd = "sub/new\nline \x1B \xE9.txt";
  files_.write(odd, "cat .\n");
  files_.build();
  Reader reader(files_.open());
  const FileId file = locate(reader, files_.folder() + "/" + odd);
  EXPECT_EQ(reader.path(file), files_.folder() + "/" + odd);
  EXPECT_EQ(locate(reader, files_.folder() + "/sub/new\\nline \\x1B \\xE9.txt"), file);
  EXPECT_EQ(locate(reader, files_.folder() + "/./sub/../" + odd), file);
  EXPECT_EQ(locate(reader, std::to_string(file)), file);
  EXPECT_TRUE(attempt([&] { locate(reader, std::to_string(file + 1)); }));
  EXPECT_TRUE(attempt([&] { locate(reader, "nowhere.txt"); }));
}

// --- Damage

class Damage : public ReaderTest {
 protected:
  void SetUp() override {
    for (int i = 0; i < 12; ++i) {
      files_.write("d" + std::to_string(i % 3) + "/f" + std::to_string(i) + ".txt",
                   "cat dog bird" + std::to_string(i) + " fish" + std::to_string(i % 4) + " .\n");
    }
    files_.build();
    files_.write("d1/new.txt", "cat dog fish1 .\n");
    files_.update();
  }

  uint64_t problems() {
    return verifyIndex(files_.tables(), [](const std::string&) {}).problems;
  }

  // Everything that a reader does; failures are expected, crashes and hangs are not.
  void readAll() {
    attempt([&] {
      Reader reader(files_.open());
      for (WordId word = reader.firstWord(); word != 0; word = reader.nextWord(word)) {
        attempt([&] {
          for (const Posting& posting : reader.postings(word)) reader.path(posting.file);
        });
      }
      for (FileId file = reader.firstFile(); file != 0; file = reader.nextFile(file)) {
        attempt([&] { reader.isLive(file); });
      }
      attempt([&] { reader.postings(QueryWord{"*", true}); });
      attempt([&] { locate(reader, files_.folder() + "/d1/new.txt"); });
    });
  }
};

TEST_F(Damage, FlippedBytesEndInErrorsAndNotInCrashes) {
  std::mt19937 random(7);
  uint64_t noticed = 0;
  uint64_t tried = 0;
  for (const char* table : {"words", "files", "links", "hash"}) {
    const std::string path = files_.tables() + table;
    const std::string intact = test::readFile(path);
    // The tables grow in large steps: what is in use is at their beginning.
    const size_t used = std::min<size_t>(intact.size(), 1200);
    for (int round = 0; round < 60; ++round) {
      std::string bytes = intact;
      bytes[random() % used] ^= static_cast<char>(1u << (random() % 8));
      test::writeFile(path, bytes);
      readAll();
      noticed += problems() > 1;
      ++tried;
    }
    test::writeFile(path, intact);
  }
  EXPECT_EQ(problems(), 1u);
  // The walk alone, without the checksums, cannot notice a changed size or count.
  EXPECT_GT(noticed, tried / 3);
}

TEST_F(Damage, ListsThatLeadInCirclesEnd) {
  const std::string path = files_.tables() + "links";
  const std::string intact = test::readFile(path);
  // Each place where a next-list field may be leads to itself, to the first chunk, far ahead.
  for (size_t at = 16; at + 4 < std::min<size_t>(intact.size(), 600); at += 7) {
    for (const uint32_t target : {static_cast<uint32_t>(at), 20u, 25u, 400u, 0xFFFFFFF0u}) {
      std::string bytes = intact;
      bytes.replace(at, 4, reinterpret_cast<const char*>(&target), 4);
      test::writeFile(path, bytes);
      readAll();
    }
  }
}

}  // namespace
}  // namespace veska
