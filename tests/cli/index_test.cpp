// Index, update and rebuild, as a user meets them.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/cli/program.h"

namespace veska::test {
namespace {

class Index : public ProgramTest {
 protected:
  void SetUp() override {
    write("docs/one.txt", "alpha beta gamma\n");
    write("docs/sub/two.txt", "beta delta\n");
    for (const char* name : {"docs/one.txt", "docs/sub/two.txt"}) setTime(name, 1000);
    settle();
  }
  // Moves the folders' times away from the run's own second.
  void settle() const {
    for (const std::string& name : listTree(path("docs"))) {
      struct stat info;
      if (::stat(path("docs/" + name).c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
        setTime("docs/" + name, 2000 + ++ticks_);
      }
    }
    setTime("docs", 2000 + ++ticks_);
  }
  mutable int ticks_ = 0;
};

TEST_F(Index, TellsWhatItReadAndFindsIt) {
  EXPECT_EQ(out({"index", "docs"}),
            "2 files in 2 folders, 4 words; 2 files (28 bytes) read in T s\n");
  EXPECT_EQ(found("beta"), "DIR/docs/one.txt\nDIR/docs/sub/two.txt\n");
  EXPECT_EQ(run({"search", "nowhere"}).status, 1);
  EXPECT_EQ(run({"verify"}).status, 0);
}

TEST_F(Index, EverythingIsItsUsersAlone) {
  ::mkdir(path("home").c_str(), 0755);
  const ::mode_t former = ::umask(0);
  out({"index", "docs"});
  ::umask(former);
  std::vector<std::string> entries = listTree(path("home"));
  entries.push_back("");
  for (const std::string& name : entries) {
    struct stat info;
    ASSERT_EQ(::lstat(path("home/" + name).c_str(), &info), 0);
    if (S_ISLNK(info.st_mode)) continue;
    EXPECT_EQ(info.st_mode & 07777, S_ISDIR(info.st_mode) ? 0700u : 0600u) << name;
  }
}

TEST_F(Index, UpdateWithoutChangesWritesNothing) {
  out({"index", "docs"});
  const std::string before = tables();
  EXPECT_EQ(out({"update"}), "nothing has changed: 2 files in 2 folders\n");
  // What is excluded is no change, though it changes its folder's time.
  write("docs/node_modules/x.txt", "alpha\n");
  settle();
  EXPECT_EQ(out({"update"}), "nothing has changed: 2 files in 2 folders\n");
  EXPECT_EQ(tables(), before);
}

TEST_F(Index, UpdateTakesInWhatIsNewChangedAndGone) {
  out({"index", "docs"});
  write("docs/one.txt", "alpha zeta\n");
  setTime("docs/one.txt", 1001);
  ::unlink(path("docs/sub/two.txt").c_str());
  write("docs/new/three.txt", "beta eta\n");
  settle();
  EXPECT_EQ(out({"update"}), "2 files in 3 folders, 6 words; 2 files (20 bytes) read in T s\n");
  EXPECT_EQ(found("beta"), "DIR/docs/new/three.txt\n");
  EXPECT_EQ(found("zeta"), "DIR/docs/one.txt\n");
  EXPECT_EQ(found("gamma") + found("delta"), "");
  EXPECT_EQ(out({"update"}), "nothing has changed: 2 files in 3 folders\n");
  EXPECT_EQ(run({"verify"}).status, 0);
}

TEST_F(Index, FileOfTheSameSecondIsSeen) {
  out({"index", "docs"});
  write("docs/now.txt", "theta\n");
  out({"update"});
  write("docs/now2.txt", "theta\n");
  out({"update"});
  EXPECT_EQ(found("theta"), "DIR/docs/now.txt\nDIR/docs/now2.txt\n");
}

TEST_F(Index, RootThatIsMissingOrEmptyKeepsItsEntries) {
  write("other/o.txt", "omega\n");
  out({"index", "docs", "other"});
  ASSERT_EQ(::rename(path("docs").c_str(), path("away").c_str()), 0);
  const std::string remark = "veska: DIR/docs is missing or empty; its entries are kept\n";
  EXPECT_EQ(run({"update"}), (Outcome{0, "nothing has changed: 3 files in 3 folders\n", remark}));
  ::mkdir(path("docs").c_str(), 0700);
  write("other/p.txt", "omega beta\n");
  EXPECT_EQ(run({"update"}),
            (Outcome{0, "4 files in 3 folders, 5 words; 1 file (11 bytes) read in T s\n", remark}));
  EXPECT_EQ(found("beta"), "DIR/docs/one.txt\nDIR/docs/sub/two.txt\nDIR/other/p.txt\n");
  EXPECT_EQ(run({"rebuild"}).status, 2);
  ::rmdir(path("docs").c_str());
  EXPECT_EQ(run({"rebuild"}).status, 2);
  ASSERT_EQ(::rename(path("away").c_str(), path("docs").c_str()), 0);
  EXPECT_EQ(out({"update"}), "nothing has changed: 4 files in 3 folders\n");
}

TEST_F(Index, RootTakenOutOfTheSettingsLeavesTheIndexAndMayComeBack) {
  write("other/o.txt", "beta\n");
  out({"index", "docs", "other"});
  changeSettings("  \"" + path("docs") + "\",\n", "");
  out({"update"});
  EXPECT_EQ(found("beta"), "DIR/other/o.txt\n");
  out({"index", "docs"});
  EXPECT_EQ(found("beta"), "DIR/docs/one.txt\nDIR/docs/sub/two.txt\nDIR/other/o.txt\n");
}

TEST_F(Index, RootAboveARootReadsNothingTwice) {
  out({"index", "docs/sub"});
  out({"index", "docs"});
  EXPECT_EQ(found("beta"), "DIR/docs/one.txt\nDIR/docs/sub/two.txt\n");
  EXPECT_EQ(out({"update"}), "nothing has changed: 2 files in 2 folders\n");
  const std::string before = out({"words"});
  out({"rebuild"});
  EXPECT_EQ(out({"words"}), before);
}

TEST_F(Index, LostSettingsFileLosesNoRoots) {
  out({"index", "docs"});
  ::unlink(path("home/veska.toml").c_str());
  EXPECT_EQ(out({"update"}), "nothing has changed: 2 files in 2 folders\n");
  EXPECT_NE(readFile(path("home/veska.toml")).find(path("docs")), std::string::npos);
}

TEST_F(Index, ChangedSettingsAreToldAndRebuildAppliesThem) {
  out({"index", "docs"});
  changeSettings("shortest = 2", "shortest = 5");
  const std::string remark =
      "veska: the settings have changed since the files were read;"
      " to apply them to all files: veska rebuild\n";
  EXPECT_EQ(run({"update"}).err, remark);
  EXPECT_EQ(out({"rebuild"}), "2 files in 2 folders, 3 words; 2 files (28 bytes) read in T s\n");
  EXPECT_EQ(run({"update"}).err, "");
}

TEST_F(Index, BrokenSettingsAreToldWithTheirLine) {
  out({"index", "docs"});
  write("home/veska.toml", "roots = []\n\n[words]\nshortest = \"x\"\n");
  const Outcome outcome = run({"update"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n')),
            "veska: DIR/home/veska.toml, line 4: \"shortest\" is a whole number from 1 to 100");
  EXPECT_EQ(found("alpha"), "DIR/docs/one.txt\n") << "a search needs no settings";
}

TEST_F(Index, UnreadableFileIsNamedAndTriedAgainWhenItChanges) {
  if (::geteuid() == 0) GTEST_SKIP() << "root reads everything";
  ASSERT_EQ(::chmod(path("docs/one.txt").c_str(), 0), 0);
  const std::string remark =
      "veska: 1 file was passed over or read in part; see: veska status --problems\n";
  EXPECT_EQ(run({"index", "docs"}).err, remark);
  EXPECT_EQ(out({"status", "--problems"}),
            "DIR/docs/one.txt: cannot be opened: Permission denied; check the owner and the rights "
            "of the file\n");
  EXPECT_EQ(run({"update"}), (Outcome{0, "nothing has changed: 2 files in 2 folders\n", remark}));
  ASSERT_EQ(::chmod(path("docs/one.txt").c_str(), 0600), 0);
  EXPECT_EQ(run({"update"}).err, "");
  EXPECT_EQ(found("alpha"), "DIR/docs/one.txt\n");
  EXPECT_EQ(out({"status", "--problems"}), "");
}

TEST_F(Index, DamagedFileStaysListedUntilItsContentsChange) {
  write("docs/bad.zip", "PK\003\004 and no archive");
  run({"index", "docs"});
  const std::string problem =
      "DIR/docs/bad.zip: is damaged, and was read in part; get an intact copy\n";
  ASSERT_EQ(out({"status", "--problems"}), problem);
  ASSERT_EQ(::chmod(path("docs/bad.zip").c_str(), 0640), 0);
  write("docs/three.txt", "epsilon\n");
  settle();
  run({"update"});
  EXPECT_EQ(found("epsilon"), "DIR/docs/three.txt\n");
  EXPECT_EQ(out({"status", "--problems"}), problem);
  EXPECT_EQ(run({"show", "docs/bad.zip"}).err, problem);
  ::unlink(path("docs/bad.zip").c_str());
  settle();
  out({"update"});
  EXPECT_EQ(out({"status", "--problems"}), "");
}

TEST_F(Index, RootWithBytesThatAreNoUtf8IsKept) {
  write("d\xE9/x.txt", "kappa\n");
  out({"index", "d\xE9"});
  EXPECT_EQ(out({"update"}), "nothing has changed: 1 file in 1 folder\n");
  EXPECT_EQ(run({"search", "-0", "kappa"}).out, std::string("DIR/d\xE9/x.txt") + '\0');
}

TEST_F(Index, WhatIsNoFolderIsRefusedBeforeAnythingIsMade) {
  EXPECT_EQ(run({"index", "nowhere"}),
            (Outcome{2, "", "veska: cannot index nowhere: No such file or directory\n"}));
  EXPECT_EQ(run({"index", "docs/one.txt"}).status, 2);
  EXPECT_EQ(::access(path("home").c_str(), F_OK), -1);
  out({"index", "docs"});
  EXPECT_EQ(run({"index", "home/cache"}).status, 2);
}

TEST_F(Index, HomeWithinARootIsNotIndexed) {
  out({"index", "."});
  EXPECT_EQ(known().find("DIR/home"), std::string::npos) << known();
  EXPECT_NE(known().find("DIR/docs/one.txt"), std::string::npos);
}

TEST_F(Index, SecondWriterIsToldWhoHoldsTheLock) {
  out({"index", "docs"});
  const int lock = ::open(path("home/indexes/default/lock").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(::flock(lock, LOCK_EX), 0);
  ASSERT_EQ(::pwrite(lock, "4711\n", 5, 0), 5);
  const Outcome outcome = run({"update"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err,
            "veska: process 4711 is writing to the index in DIR/home\n"
            "       wait until it ends, or let this command wait with --wait\n");
  EXPECT_EQ(found("alpha"), "DIR/docs/one.txt\n");
  RunningProgram waiting({"update", "--wait"}, folder());
  ::close(lock);
  EXPECT_EQ(waiting.wait().status, 0);
}

TEST_F(Index, ReaderKeepsItsGenerationWhileWritersGoOn) {
  out({"index", "docs"});
  const std::string held = tables();
  const int reader = ::open(held.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(::flock(reader, LOCK_SH), 0);
  out({"rebuild"});
  out({"rebuild"});
  EXPECT_EQ(::access((held + "words").c_str(), F_OK), 0);
  ::close(reader);
  out({"rebuild"});
  EXPECT_EQ(::access(held.c_str(), F_OK), -1);
}

TEST_F(Index, InterruptSavesWhatWasReadAndTheNextRunGoesOn) {
  // Enough files for the signal to arrive among them.
  for (int at = 0; at < 3000; ++at) {
    write("docs/many/" + std::to_string(at % 50) + "/" + std::to_string(at) + ".txt",
          "beta word" + std::to_string(at) + "\n");
  }
  RunningProgram running({"index", "docs"}, folder());
  while (::access(path("home/indexes/default/generation-1/links").c_str(), F_OK) != 0) {
    ::usleep(1000);
  }
  running.signal(SIGINT);
  const Outcome outcome = running.wait();
  EXPECT_TRUE(outcome.status == 130 || outcome.status == 0) << outcome;
  EXPECT_EQ(run({"verify"}).status, 0);
  out({"update"});
  std::string all = found("beta");
  out({"rebuild"});
  EXPECT_EQ(found("beta"), all);
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3002);
}

}  // namespace
}  // namespace veska::test
