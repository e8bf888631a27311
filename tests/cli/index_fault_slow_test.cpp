// A run that is killed at any moment leaves the last saved index whole, and the next run gets to
// where an undisturbed one would have got.
#include <unistd.h>

#include <cstdlib>

#include "tests/cli/program.h"

namespace veska::test {
namespace {

class KilledRun : public ProgramTest {
 protected:
  struct Answers {
    std::string beta, zeta, files;
    bool operator==(const Answers&) const = default;
  };
  Answers answers() const { return {found("beta"), found("zeta"), known()}; }

  void prepare() const {
    write("docs/one.txt", "alpha beta\n");
    write("docs/sub/two.txt", "beta\n");
    setTime("docs/one.txt", 1000);
  }
  void change() const {
    write("docs/one.txt", "alpha zeta\n");
    setTime("docs/one.txt", 2000);
    write("docs/sub/three.txt", "beta zeta\n");
  }

  // Kills runs of the command at ever later moments; before each, the same index is made.
  void killEverywhere(const std::string& command) const {
    startAfresh();
    const Answers old = answers();
    change();
    out({command});
    const Answers fresh = answers();
    ASSERT_FALSE(old == fresh);
    int kills = 0;
    for (int n = 1;; ++n) {
      startAfresh();
      change();
      if (!runKilledBeforeChange({command}, n)) break;
      ++kills;
      const Answers after = answers();
      EXPECT_TRUE(after == old || after == fresh) << "killed before change " << n;
      EXPECT_EQ(run({"verify"}).status, 0) << "killed before change " << n;
      EXPECT_EQ(run({"update"}).status, 0) << "killed before change " << n;
      EXPECT_TRUE(answers() == fresh) << "killed before change " << n;
      // Nothing is left over but the one generation.
      EXPECT_EQ(listTree(path("home/indexes/default")).size(), 11u) << "change " << n;
      if (HasFailure()) break;
    }
    EXPECT_GT(kills, 40);
  }

  void prepareAfresh() const {
    const std::string command = "rm -rf '" + path("docs") + "' '" + path("home") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    prepare();
  }
  void startAfresh() const {
    prepareAfresh();
    out({"index", "docs"});
  }
};

TEST_F(KilledRun, UpdateOrRebuildKilledBeforeAnyChangeLeavesAWholeIndex) {
  for (const char* command : {"update", "rebuild"}) killEverywhere(command);
}

TEST_F(KilledRun, FirstIndexKilledBeforeAnyChangeCanBeMadeAgain) {
  for (int n = 1;; ++n) {
    prepareAfresh();
    if (!runKilledBeforeChange({"index", "docs"}, n)) break;
    const Outcome outcome = run({"search", "beta"});
    EXPECT_TRUE(outcome.status == 0 || outcome.err.find("no index yet") != std::string::npos)
        << "killed before change " << n << "\n"
        << outcome;
    EXPECT_EQ(run({"index", "docs"}).status, 0) << "killed before change " << n;
    EXPECT_EQ(found("beta"), "DIR/docs/one.txt\nDIR/docs/sub/two.txt\n");
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace veska::test
