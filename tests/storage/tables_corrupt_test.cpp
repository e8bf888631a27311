// Damaged tables: whatever stands in the files of an index, using it ends in an error or an answer.
// Run under the sanitizers, which tell a read outside the mapping.

#include <map>
#include <random>
#include <set>

#include "tests/support/exercise.h"
#include "tests/support/indextest.h"

namespace veska::test {
namespace {

class TablesCorrupt : public IndexTest {
 protected:
  void SetUp() override {
    IndexTest::SetUp();
    here_ = std::filesystem::current_path();
    std::filesystem::current_path(path(""));  // where pruning writes its diagnostic
    makeIndex();
    for (const char* name : {"files", "words", "skipped", "links", "hash"}) {
      good_[name] = table(name);
    }
  }
  void TearDown() override {
    std::filesystem::current_path(here_);
    IndexTest::TearDown();
  }

  const std::map<std::string, std::string>& good() const { return good_; }

  // Uses the index with these bytes in place of one file, or with that file missing.
  void expectSurvival(const std::string& name, const std::string* bytes, const std::string& what) {
    SCOPED_TRACE(name + ": " + what);
    for (const auto& [each, content] : good_) {
      const std::string* now = each == name ? bytes : &content;
      if (now) {
        // A new file each time, since the old one may be cut while it is mapped.
        std::filesystem::remove(indexPath() + each);
        writeFile(indexPath() + each, *now);
      } else {
        std::filesystem::remove(indexPath() + each);
      }
    }
    Reports reports;
    bool opened = false;
    try {
      opened = exerciseIndex(indexPath(), docs());
    } catch (const Endless&) {
      ADD_FAILURE() << "a walk did not end";
    }
    ++used_;
    opened_ += opened ? 1 : 0;
    for (const std::string& line : reports.take()) {
      const std::string key = line.substr(0, line.find(':', 6));
      if (line.starts_with("throw:") && !kErrors.contains(key.substr(6))) ADD_FAILURE() << line;
      if (!opened) {
        EXPECT_TRUE(key == "throw:StorageReadError" || key == "throw:FileMapWriteFail") << line;
      }
    }
  }
  void expectSurvival(const std::string& name, const std::string& bytes, const std::string& what) {
    expectSurvival(name, &bytes, what);
  }

  int used_ = 0, opened_ = 0;

 private:
  void makeIndex() const {
    for (const char* name : {"a.txt", "b.txt", "c.txt"}) {
      document(name, "alpha beta " + std::string(name, 1) + " alpha ");
    }
    const IndexPtr index = newIndex();
    writeFile(path("skip"), "the and of ");
    vidxSetSkipFilePath(index, path("skip").c_str());
    vidxIndexExclusions(index);
    indexDocs(index);
    save(index);
  }

  inline static const std::set<std::string> kErrors = {
      "StorageReadError",  "AssertionFailed", "FileMapWriteFail", "MemFileOpenFail",
      "MemFileExtendFail", "GetHugeSpace",    "PruneParentError", "NoMemory"};
  std::map<std::string, std::string> good_;
  std::string here_;
};

TEST_F(TablesCorrupt, SoundIndexIsUsedWithoutAnError) {
  Reports reports;
  EXPECT_TRUE(exerciseIndex(indexPath(), docs()));
  EXPECT_EQ(reports.count("throw:"), 0);
}

// Every byte in use of every table, and of "hash" all that is not an empty bucket.
TEST_F(TablesCorrupt, EveryByteFlipped) {
  for (const auto& [name, bytes] : good()) {
    const bool hash = name == "hash";
    const size_t end = hash ? bytes.size() : TableHeader(bytes).used;
    for (size_t at = 0; at < end; ++at) {
      if (hash && bytes[at] == 0 && at >= 16 && at % 4000 != 0) continue;
      for (const int flip : {0xFF, 0x01, 0x80}) {
        std::string bad = bytes;
        bad[at] = static_cast<char>(bad[at] ^ flip);
        expectSurvival(name, bad, "byte " + std::to_string(at) + " ^ " + std::to_string(flip));
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(opened_, used_ / 4) << "damage inside the tables is met only in use";
  EXPECT_LT(opened_, used_);
}

// Whole numbers where an id, an offset or a count may stand.
TEST_F(TablesCorrupt, NumbersReplaced) {
  constexpr unsigned kSeed = 99;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 600; ++round) {
    auto it = good().begin();
    std::advance(it, random() % good().size());
    std::string bad = it->second;
    const size_t end = it->first == "hash" ? bad.size() : TableHeader(bad).used;
    const uint32_t values[] = {
        0,  1,          15,         16,         20,
        36, 0x7FFFFFFF, 0xFFFFFFFF, 0xFFFFFFEC, static_cast<uint32_t>(random() % (end + 8))};
    const size_t at = random() % 3 == 0 ? random() % 64 : random() % (end - 4);
    putU32(bad, at, values[random() % std::size(values)]);
    expectSurvival(it->first, bad, "number at " + std::to_string(at) + ", seed 99");
    if (HasFailure()) return;
  }
}

TEST_F(TablesCorrupt, CutExtendedZeroedMissing) {
  for (const auto& [name, bytes] : good()) {
    const size_t used = name == "hash" ? 40 : TableHeader(bytes).used;
    for (const size_t length : {size_t{0}, size_t{1}, size_t{3}, size_t{4}, size_t{8}, size_t{15},
                                size_t{16}, used - 1, used, bytes.size() / 2, bytes.size() - 1}) {
      expectSurvival(name, bytes.substr(0, length), "cut to " + std::to_string(length));
    }
    for (const char fill : {'\0', 'x'}) {
      expectSurvival(name, bytes + std::string(5000, fill), "extended");
      expectSurvival(name, std::string(bytes.size(), fill), "overwritten");
      if (name == "hash") continue;
      std::string body = bytes;
      body.replace(16, body.size() - 16, body.size() - 16, fill);
      expectSurvival(name, body, "all but the header overwritten");
      putU32(body, 4, static_cast<uint32_t>(body.size()));
      expectSurvival(name, body, "all of it in use");
    }
    expectSurvival(name, nullptr, "missing");
  }
}

// Tables of different moments together.
TEST_F(TablesCorrupt, TablesExchanged) {
  for (const auto& [name, bytes] : good()) {
    for (const auto& [other, content] : good()) {
      if (name != other) expectSurvival(name, content, "replaced by " + other);
    }
  }
}

}  // namespace
}  // namespace veska::test
