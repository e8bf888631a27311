// The home, its generations and what they know of themselves.
#include "host/home.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/errors.h"
#include "host/generation.h"
#include "host/scratch.h"
#include "host/state.h"
#include "tests/support/leakcheck.h"

namespace veska::test {
namespace {

class HomeTest : public LeakCheckedTest {
 protected:
  void SetUp() override {
    LeakCheckedTest::SetUp();
    home_.emplace(path("home"));
  }
  const Home& home() const { return *home_; }
  static bool never() { return false; }

  // A generation with small tables of its own, in force.
  static uint64_t makeGeneration(const Home& home, const WriterLock& lock, uint64_t lineage) {
    NewGeneration next(home, lock);
    for (const std::string_view name : kTableNames) {
      writeFile(next.path() + std::string(name), std::string(name) + std::to_string(next.number()));
    }
    State state;
    state.lineage = lineage;
    state.tables = sumTables(next.path());
    writeState(next.path(), state);
    next.commit();
    return next.number();
  }

 private:
  std::optional<Home> home_;
};

TEST_F(HomeTest, CanonicalPathsHaveNoLinksAndNoRepeatedSlashes) {
  writeFile(path("real/file"), "");
  ASSERT_EQ(::symlink("real", path("link").c_str()), 0);
  EXPECT_EQ(canonicalPath(path("link")), path("real"));
  EXPECT_EQ(canonicalPath(path("link") + "/new/sub/"), path("real/new/sub"));
  EXPECT_EQ(canonicalPath("/"), "/");
  EXPECT_EQ(canonicalPath("/no-such-top"), "/no-such-top");
}

TEST_F(HomeTest, ThereIsNoGenerationUntilOneIsCommitted) {
  EXPECT_FALSE(home().openCurrent());
  const WriterLock lock(home(), false);
  { const NewGeneration abandoned(home(), lock); }
  EXPECT_FALSE(home().openCurrent());
  EXPECT_EQ(listTree(home().indexFolder()), std::vector<std::string>{"lock"});
  EXPECT_EQ(makeGeneration(home(), lock, 1), 1u);
  EXPECT_EQ(home().requireCurrent().path, home().generationFolder(1) + "/");
}

TEST_F(HomeTest, LinkThatLeadsAstrayIsRefused) {
  const WriterLock lock(home(), false);
  for (const char* target : {"/etc", "generation-", "generation-0", "generation-1/..",
                             "generation-99999999999999999999", "generation-7"}) {
    ::unlink(home().tablesLink().c_str());
    ASSERT_EQ(::symlink(target, home().tablesLink().c_str()), 0);
    EXPECT_THROW(home().openCurrent(), HostError) << target;
  }
  EXPECT_EQ(makeGeneration(home(), lock, 1), 8u) << "a new generation repairs the link";
  EXPECT_EQ(home().requireCurrent().number, 8u);
}

TEST_F(HomeTest, CopyHasTheSameTables) {
  const WriterLock lock(home(), false);
  makeGeneration(home(), lock, 1);
  const Generation base = home().requireCurrent();
  NewGeneration next(home(), lock);
  next.copyTables(base, never);
  EXPECT_EQ(sumTables(next.path()), sumTables(base.path));
}

TEST_F(HomeTest, SweepLeavesWhatIsReadAndWhatIsInForce) {
  const WriterLock lock(home(), false);
  makeGeneration(home(), lock, 11);
  std::optional<Generation> read = home().openCurrent();
  makeGeneration(home(), lock, 22);
  makeGeneration(home(), lock, 33);
  for (const char* lineage : {"11", "22", "33"}) {
    writeFile(home().cacheFolder() + "/" + lineage + "/5.txt", "");
  }
  writeFile(home().generationFolder(9) + "/words", "left by a run that was killed");
  sweepGenerations(home(), lock);
  EXPECT_EQ(::access(home().generationFolder(1).c_str(), F_OK), 0);
  EXPECT_EQ(::access(home().generationFolder(2).c_str(), F_OK), -1);
  EXPECT_EQ(::access(home().generationFolder(3).c_str(), F_OK), 0);
  EXPECT_EQ(::access(home().generationFolder(9).c_str(), F_OK), -1);
  EXPECT_EQ(listTree(home().cacheFolder()),
            (std::vector<std::string>{"11", "11/5.txt", "33", "33/5.txt"}));
  read.reset();
  sweepGenerations(home(), lock);
  EXPECT_EQ(listTree(home().cacheFolder()), (std::vector<std::string>{"33", "33/5.txt"}));
}

TEST_F(HomeTest, CacheKeepsOnlyWhatBelongsToLiveRecords) {
  const WriterLock lock(home(), false);
  const std::string cache = home().cacheFolder(7) + "/";
  for (const char* name : {"40.txt", "41", "42.pdf", "43report.doc", "tmp3.txt", "x"}) {
    writeFile(cache + name, "");
  }
  EXPECT_EQ(cachedRecords(home(), 7), (std::vector<uint64_t>{40, 41, 42}));
  {
    const ScratchFolder reading(home(), 7);
    EXPECT_EQ(reading.path() + "/", cache);
    sweepCache(home(), lock, 7, [](uint64_t) { return false; });
    EXPECT_EQ(listTree(cache).size(), 6u) << "somebody reads there";
  }
  sweepCache(home(), lock, 7, [](uint64_t id) { return id != 41; });
  EXPECT_EQ(listTree(cache), (std::vector<std::string>{"40.txt", "42.pdf"}));
}

TEST_F(HomeTest, StateComesBackAsItWasWritten) {
  State state;
  state.version = "1.2";
  state.lineage = 1234567890123;
  state.complete = true;
  state.roots = {"/a", "/\xE9"};
  state.missingRoots = {"/\xE9"};
  state.bytesRead = 1e15;
  state.tables = {{"words", 5, ~uint64_t{0}}};
  const std::vector<Problem> problems{{"OpenFailed", "/x\xFF\n", 5, -1, 2, 3}};
  const std::string folder = path("generation/");
  ::mkdir(folder.c_str(), 0700);
  EXPECT_FALSE(readState(folder));
  EXPECT_TRUE(readProblems(folder).empty());
  writeState(folder, state);
  writeProblems(folder, problems);
  const State read = readState(folder).value();
  EXPECT_EQ(read.version, state.version);
  EXPECT_EQ(read.lineage, state.lineage);
  EXPECT_EQ(lineageOf(folder), state.lineage);
  EXPECT_EQ(read.roots, state.roots);
  EXPECT_EQ(read.missingRoots, state.missingRoots);
  EXPECT_EQ(read.bytesRead, state.bytesRead);
  EXPECT_EQ(read.tables, state.tables);
  ASSERT_EQ(readProblems(folder).size(), 1u);
  EXPECT_EQ(readProblems(folder)[0].path, problems[0].path);
  EXPECT_EQ(readProblems(folder)[0].systemError, 5);
  EXPECT_EQ(readProblems(folder)[0].modified, -1);
}

TEST_F(HomeTest, DamagedStateIsAnErrorAndNoCrash) {
  writeFile(path("g/state.json"), "");
  State state;
  state.roots = {"/a"};
  writeState(path("g/"), state);
  const std::string whole = readFile(path("g/state.json"));
  for (size_t length = 0; length + 2 < whole.size(); length += 7) {
    writeFile(path("g/state.json"), whole.substr(0, length));
    EXPECT_THROW(readState(path("g/")), HostError) << length;
    EXPECT_FALSE(lineageOf(path("g/"))) << length;
  }
  for (const char* text : {"[]", "{\"format\":2}", "{\"format\":\"1\"}", "null", "\xFF"}) {
    writeFile(path("g/state.json"), text);
    EXPECT_THROW(readState(path("g/")), HostError) << text;
  }
}

TEST_F(HomeTest, SumsTellEveryChangedByteAndLength) {
  std::string bytes(1000, 'x');
  const auto sum = [&] {
    for (const std::string_view name : kTableNames)
      writeFile(path("g/") + std::string(name), bytes);
    return sumTables(path("g/"))[0].sum;
  };
  const uint64_t whole = sum();
  for (size_t at = 0; at < bytes.size(); at += 37) {
    bytes[at] = static_cast<char>(bytes[at] ^ 1);
    EXPECT_NE(sum(), whole) << at;
    bytes[at] = static_cast<char>(bytes[at] ^ 1);
  }
  // The end of a file may be zeros, which a sum over words would not see without the length.
  bytes.push_back('\0');
  EXPECT_NE(sum(), whole);
}

}  // namespace
}  // namespace veska::test
