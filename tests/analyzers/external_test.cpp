#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "analyzers/externalanalyzer.h"
#include "analyzers/shellcommand.h"
#include "tests/analyzers/analyzertest.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class External : public AnalyzerTest {
 protected:
  void SetUp() override {
    AnalyzerTest::SetUp();
    useCache();
  }

  // Has files of the extension "src" converted.
  void convert(const char* extension, const std::string& format) {
    addConverter("conv", extension, format);
    include({{"*.src", "conv"}, {"*.txt", "generic"}, {"*.tar", "tar"}});
  }

  std::string command(const char* extension, const std::string& format, const char* source) {
    CExternalAnalyzer analyzer(&index(), extension, format);
    index().temporaryDirectory = "/tmp";
    return analyzer.makeCommand(source, analyzer.makeTemporaryPath(source, 12));
  }

  std::string shown(std::string_view name) {
    char* text = index().analyzerNamed("conv")->fillDisplayBuffer(
        (files() + '/' + std::string(name)).c_str(), record(name), 1000, 0, false);
    const std::string result = text;
    std::free(text);
    return result;
  }
};

TEST_F(External, PathsTakeThePlacesOfTheirPlaceholders) {
  EXPECT_EQ(command("txt", "conv %i %o", "/d/a.ps"), "conv /d/a.ps /tmp/12.txt");
  EXPECT_EQ(command("txt", "conv -o %o %i", "/d/a.ps"), "conv -o /tmp/12.txt /d/a.ps");
  EXPECT_EQ(command("...", "%i>%o.", "/d.x/notes.txt.Z"), "/d.x/notes.txt.Z>/tmp/12.txt.");
  EXPECT_EQ(command("...", "%i %o", "/d.x/notes.Z"), "/d.x/notes.Z /tmp/12");
  EXPECT_EQ(command("...", "%i %o", "/d.x/notes"), "/d.x/notes /tmp/12");
  EXPECT_EQ(command("txt", "conv %i %x", "/d/a.ps"), "");
  EXPECT_EQ(command("txt", "", "/d/a.ps"), "");
}

// Each name is given to a real shell, at each kind of place, and must arrive as one argument.
TEST_F(External, NoByteOfAPathMeansAnythingToTheShell) {
  std::string every;
  for (int c = 1; c < 256; ++c) every += c == '/' ? '_' : static_cast<char>(c);
  const std::string names[] = {
      every, "$(touch x)", "`touch x`", "a b", "a\nb",     "a'b", "'; touch x; '", "\"$(touch x)\"",
      "\\",  "\\'",        "*",         "~",   "a;b&c",    "-rf", "${HOME}",       "#x",
      "!!",  "a\\\nb",     "\xFF\xFE",  "\n",  "' \" ' \""};
  // The places, and the arguments that arrive there, with "%" for the path.
  const std::pair<const char*, std::string> places[] = {
      {" %i %o", "%"},
      {" '%i' %o", "%"},
      {" \"%i\" %o", "%"},
      {" pre%i.post %o", "pre%.post"},
      {" \"pre %i post\" '%o'", "pre % post"},
      {" 'pre '%i' post' \"%o\"", "pre % post"},
      {" \\'%i\\\" \"%o\"", "'%\""},
  };
  const std::string show = path("show.sh");
  writeFile(show, "for a; do printf '%s|' \"$a\"; done > \"" + path("seen") + "\"\n");
  index().temporaryDirectory = path("cache");
  for (const auto& [place, argument] : places) {
    const CExternalAnalyzer analyzer(&index(), "txt", "sh " + show + place);
    for (const std::string& name : names) {
      const std::string source = name == "-rf" ? name : path("d/") + name;
      const std::string line = analyzer.makeCommand(source, path("cache/1.txt"));
      ASSERT_EQ(runShellCommand(line, 10, 0), CommandResult::kEnded);
      std::string expected = argument;
      expected.replace(expected.find('%'), 1, name == "-rf" ? "./-rf" : source);
      EXPECT_EQ(readFile(path("seen")), expected + '|' + path("cache/1.txt") + '|') << line;
    }
  }
  EXPECT_FALSE(std::filesystem::exists("x"));
}

TEST_F(External, WhereQuotingDoesNotHelpOnlyPlainPathsGoIn) {
  for (const char* format :
       {"sh -c 'conv %i %o'", "eval \"conv %i %o\"", "conv \"$(basename \"%i\")\" %o",
        "conv `basename %i` %o", "cat <<E > %o\n%i\nE\n", "conv \\%i %o", ": # %i %o",
        "conv $'%i' %o", "conv \"${x:-%i}\" %o"}) {
    EXPECT_EQ(command("txt", format, "/d/$(touch x).ps"), "") << format;
    EXPECT_NE(command("txt", format, "/d/plain.ps"), "") << format;
  }
}

TEST_F(External, ConvertedTextIsIndexedUnderTheSourceAndKept) {
  convert("txt", "tr a-z n-za-m < %i > %o");
  EXPECT_TRUE(indexNew("$(touch x) 'a'.src", "uryyb jbeyq "));
  EXPECT_EQ(seenIn("hello"), "$(touch x) 'a'.src");
  const std::string kept = cachePath("$(touch x) 'a'.src", "txt");
  EXPECT_EQ(readFile(kept), "hello world ");
  struct stat status;
  ASSERT_EQ(stat(kept.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(External, DisplayUsesKeptOutputUnlessItIsOlder) {
  convert("txt", "cat %i > %o; echo run >> " + path("runs"));
  writeFile(path("runs"), "");
  indexNew("a.src", "first ");
  shown("a.src");
  EXPECT_EQ(readFile(path("runs")), "run\n");
  const auto later = std::filesystem::file_time_type::clock::now() + std::chrono::seconds(5);
  std::filesystem::last_write_time(files() + "/a.src", later);
  shown("a.src");
  EXPECT_EQ(readFile(path("runs")), "run\nrun\n");
}

TEST_F(External, OutputThatOnlyACopyServesIsRemoved) {
  writeFile(path("made.tar"), tarMember("in.txt", "inner ") + tarEnd());
  convert("tar", "cat " + path("made.tar") + " > %o # %i");
  EXPECT_FALSE(indexNew("a (1).src", ""));  // behind a "#", its path would not be safe
  convert("tar", ": %i; cat " + path("made.tar") + " > %o");
  EXPECT_TRUE(indexNew("b.src", ""));
  EXPECT_EQ(seenIn("inner"), "b.src//in.txt");
  EXPECT_THAT(listTree(path("cache")), IsEmpty());
}

TEST_F(External, NothingRunsWithoutAReaderADirectoryOrAnEnd) {
  const std::string mark = "touch " + path("ran") + "; cp %i %o";
  convert("nobody", mark);
  EXPECT_FALSE(indexNew("a.src", "x "));
  convert("src", mark);  // its own output, over and over
  include({{"*.src", "conv"}});
  index().temporaryDirectory.clear();
  EXPECT_FALSE(indexAgain("a.src"));
  EXPECT_FALSE(std::filesystem::exists(path("ran")));
  index().temporaryDirectory = path("cache");
  EXPECT_FALSE(indexAgain("a.src"));
}

TEST_F(External, FailuresAreToldUnderTheMembersName) {
  convert("txt", "false %i %o");
  EXPECT_FALSE(indexNew("a.src", ""));
  EXPECT_EQ(shown("a.src"), "");
  indexNew("a.tar", tarMember("d/in.src", "x") + tarEnd());
  EXPECT_THAT(problems(), ElementsAre("ConverterFailed a.src", "ConverterFailed a.src",
                                      "ConverterFailed a.tar/d/in.src"));
}

TEST_F(External, TheCommandHasNoDescriptorsOfOursAndNoInput) {
  convert("txt", "(ls /proc/self/fd; cat) > %o; : %i");
  indexNew("a.src", "");
  // The three standard ones, and that of ls itself.
  EXPECT_EQ(cached("a.src", "txt"), "0\n1\n2\n3\n");
}

// Is a process left that has the text among its arguments?
bool isRunning(const std::string& text) {
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    std::ifstream file(process.path() / "cmdline");
    const std::string arguments{std::istreambuf_iterator<char>(file), {}};
    if (arguments.find(text) != arguments.npos) return true;
  }
  return false;
}

TEST_F(External, AConverterThatHangsIsEndedWithAllThatItStarted) {
  const std::string stubborn = path("stubborn.sh");
  writeFile(stubborn, "trap '' TERM\nsleep 61 & wait; sleep 62\n");
  convert("txt",
          "cp %i %o; setsid -f sh " + stubborn + "; (sh " + stubborn + ") & sleep 63 & wait");
  index().maxConverterSeconds = 1;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(indexNew("a.src", "partial "));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
  EXPECT_FALSE(isRunning(stubborn));
  EXPECT_EQ(index().limitsReached, 1U);
  EXPECT_THAT(problems(), ElementsAre("ConverterFailed a.src"));
  EXPECT_THAT(listTree(path("cache")), IsEmpty());
  EXPECT_EQ(seenIn("partial"), "");
}

TEST_F(External, TheHostsChildrenAndSignalsAreLeftAlone) {
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  EXPECT_EQ(runShellCommand("sleep 60", 1, 0), CommandResult::kTimeUp);
  EXPECT_EQ(kill(child, 0), 0);
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(waitpid(-1, nullptr, 0), -1);  // no zombie

  signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(runShellCommand("sleep 0.1 & wait", 10, 0), CommandResult::kEnded);
  signal(SIGCHLD, SIG_DFL);
  sigset_t mask;
  sigprocmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGCHLD), 0);
}

TEST_F(External, OutputStopsGrowingAtTheLimitOfAMember) {
  convert("txt", "head -c 3000000 /dev/zero > %o; : %i");
  index().maxMemberBytes = 1'000'000;
  EXPECT_TRUE(indexNew("a.src", ""));
  EXPECT_EQ(cached("a.src", "txt").size(), 1'000'000U);
  EXPECT_EQ(index().limitsReached, 1U);
  index().maxMemberBytes = 3'000'000;
  EXPECT_TRUE(indexAgain("a.src"));
  EXPECT_EQ(index().limitsReached, 1U);
  EXPECT_THAT(problems(), ElementsAre("LimitReached a.src"));
}

}  // namespace
}  // namespace veska::test
