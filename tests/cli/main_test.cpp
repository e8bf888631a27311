// What the program says of itself and of lines that it does not understand.
#include <algorithm>
#include <sstream>

#include "tests/cli/program.h"

namespace veska::test {
namespace {

using Main = ProgramTest;

TEST_F(Main, HelpFitsOneScreen) {
  const std::string help = out({"--help"});
  EXPECT_LE(std::count(help.begin(), help.end(), '\n'), 24);
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
  EXPECT_EQ(out({"help"}), help);
}

TEST_F(Main, EveryCommandOfTheHelpHasHelp) {
  const std::string help = out({"--help"});
  for (const char* command : {"index", "update", "search", "show", "words", "files", "status",
                              "config", "verify", "rebuild"}) {
    EXPECT_NE(help.find(std::string("\n  ") + command + " "), std::string::npos) << command;
    EXPECT_EQ(out({"help", command}), out({command, "-h"}));
    EXPECT_NE(out({command, "-h"}).find("Usage: veska " + std::string(command)), std::string::npos);
  }
}

TEST_F(Main, TellsItsVersion) { EXPECT_EQ(out({"--version"}), "veska " VESKA_VERSION "\n"); }

TEST_F(Main, NamesWhatWasProbablyMeant) {
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"serch", "x"},
       "veska: there is no command \"serch\"; did you mean: veska search\n"
       "       see: veska --help\n"},
      {{"help", "updtae"},
       "veska: there is no command \"updtae\"; did you mean: veska update\n"
       "       see: veska --help\n"},
      {{"zzzzzz"}, "veska: there is no command \"zzzzzz\"\n       see: veska --help\n"},
      {{"update", "--wiat"},
       "veska: there is no option --wiat; did you mean --wait?\n"
       "       see: veska update --help\n"},
      {{"--quit", "update"},
       "veska: there is no option --quit before a command; did you mean"
       " --quiet?\n       see: veska --help\n"},
  };
  for (const auto& [words, said] : cases) EXPECT_EQ(run(words), (Outcome{2, "", said}));
}

TEST_F(Main, WithoutAnIndexEveryReaderTellsHowToMakeOne) {
  const Outcome wanted{2, "", "veska: no index yet; make one with: veska index ~/Documents\n"};
  for (const char* command : {"update", "words", "files", "status", "verify", "rebuild"}) {
    EXPECT_EQ(run({command}), wanted) << command;
  }
  EXPECT_EQ(run({"search", "word"}), wanted);
  EXPECT_EQ(listTree(folder()), std::vector<std::string>{});
}

TEST_F(Main, ConfigTellsOfFilesBeforeTheyAreThere) {
  EXPECT_EQ(out({"config"}),
            "home        DIR/home  (made with the first index)\n"
            "settings    DIR/home/veska.toml  (not there: the defaults hold)\n"
            "converters  DIR/home/externanalyzers.txt  (none)\n"
            "skip words  DIR/home/skipfile.txt  (none)\n"
            "index       DIR/home/indexes/default/tables  (none yet)\n"
            "cache       DIR/home/cache/default  (none yet)\n\n"
            "roots       none\n"
            "text        of every script (Unicode)\n"
            "words       2 to 64 characters long\n"
            "limits      64 MB of a file, 240 MB of an archive's member, 1024 MB of an archive\n"
            "            10 archives deep, 60 s for a converter\n"
            "unread      files that no reader reads are known by name\n" +
                out({"config"}).substr(out({"config"}).find("patterns")));
}

}  // namespace
}  // namespace veska::test
