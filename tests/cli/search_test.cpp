// Search, show, words and files as people see them: the whole output of the real program.
#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/cli/program.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::HasSubstr;

class SearchProgram : public ProgramTest {
 protected:
  // Scores are no contract: the outputs here go without them.
  static std::string withoutScores(const std::string& text) {
    static const std::regex kScore("(DIR/[^\n]*)  [^\n]*");
    return std::regex_replace(text, kScore, "$1");
  }

  void makeLibrary() const {
    write("docs/cats.txt", "All about cats.\n\nA cat sleeps.\nThe cat and the dog are friends.\n");
    write("docs/dogs.md", "A dog barks at the\ncat next door.\n");
    write("docs/sub/free.txt", "Free beer. Software for all.\nThis is free software, really.\n");
    write("docs/sub/latin.txt", "Un caf\xE9 noir.\n");
    for (const char* name : {"cats.txt", "dogs.md", "sub/free.txt", "sub/latin.txt"}) {
      setTime(std::string("docs/") + name, 1700000000);
    }
    setTime("docs/dogs.md", 1600000000);
    EXPECT_EQ(run({"-q", "index", "docs"}).status, 0);
  }
};

TEST_F(SearchProgram, PrintsFilesWithTheLinesThatShowWhy) {
  makeLibrary();
  const Outcome cats = run({"search", "cat", "dog"});
  EXPECT_EQ(cats.status, 0);
  EXPECT_EQ(cats.err, "");
  EXPECT_EQ(withoutScores(cats.out),
            "DIR/docs/dogs.md\n"
            "  1: A dog barks at the\n"
            "  2: cat next door.\n"
            "\n"
            "DIR/docs/cats.txt\n"
            "  3: A cat sleeps.\n"
            "  4: The cat and the dog are friends.\n");
  EXPECT_EQ(run({"search", "nowhere"}), (Outcome{1, "", ""}));
}

TEST_F(SearchProgram, LooksIntoTextsForPhrasesAndNear) {
  makeLibrary();
  EXPECT_EQ(out({"search", "-l", "\"free software\""}), "DIR/docs/sub/free.txt\n");
  EXPECT_EQ(run({"search", "-l", "\"software free\""}), (Outcome{1, "", ""}));
  EXPECT_EQ(out({"search", "-l", "cat", "NEAR/3", "dog"}), "DIR/docs/cats.txt\n");
  EXPECT_EQ(out({"search", "-l", "dog -\"cat next\""}), "DIR/docs/cats.txt\n");
  EXPECT_EQ(withoutScores(out({"search", "\"free software\""})),
            "DIR/docs/sub/free.txt\n  2: This is free software, really.\n");
  const Outcome bounded = run({"search", "-l", "--check", "1", "\"cat next\" OR \"and the\""});
  EXPECT_THAT(bounded.err, HasSubstr("only the best 1 of 2 files"));
}

TEST_F(SearchProgram, TakesExclusionsAndOptionsApart) {
  makeLibrary();
  EXPECT_EQ(out({"search", "-l", "cat", "-friends"}), "DIR/docs/dogs.md\n");
  EXPECT_EQ(out({"search", "-l", "cat", "--name", "*.md"}), "DIR/docs/dogs.md\n");
  EXPECT_EQ(out({"search", "-l", "free OR noir", "--dir", "docs/sub", "--newer", "2020-01-01",
                 "--name", "l*"}),
            "DIR/docs/sub/latin.txt\n");
  EXPECT_EQ(out({"search", "-l", "dog", "--older", "2021-01-01"}), "DIR/docs/dogs.md\n");
  EXPECT_EQ(run({"search", "-l", "-n1", "the"}),
            (Outcome{0, "DIR/docs/cats.txt\n", "1 of 2 files shown; show all with --limit 0\n"}));
}

TEST_F(SearchProgram, SpeaksUtf8AndFindsWindows1252) {
  makeLibrary();
  EXPECT_EQ(withoutScores(out({"search", "CAF\xC3\x89"})),
            "DIR/docs/sub/latin.txt\n  1: Un caf\xC3\xA9 noir.\n");
  EXPECT_EQ(out({"words", "caf?"}), "1\tcaf\xC3\xA9\n");
}

TEST_F(SearchProgram, MarksHitsInColourOnlyWhenAsked) {
  makeLibrary();
  EXPECT_THAT(out({"search", "--color", "always", "noir"}), HasSubstr("\x1B[1;31mnoir\x1B[0m"));
  EXPECT_EQ(out({"search", "noir"}).find('\x1B'), std::string::npos);
}

TEST_F(SearchProgram, OddNamesArePrintedSafelyAndGivenRaw) {
  const std::string name = "docs/odd \n\x1B[31m\xE9.txt";
  write(name, "needle here\n");
  ASSERT_EQ(run({"-q", "index", "docs"}).status, 0);
  const std::string raw = "DIR/" + name;
  EXPECT_EQ(out({"search", "-0", "needle"}), raw + '\0');
  EXPECT_EQ(out({"search", "-l", "needle"}), "DIR/docs/odd \\n\\x1B[31m\xE9.txt\n");
  const auto json = nlohmann::json::parse(out({"search", "--json", "needle"}));
  const std::string hex = json["results"][0]["path_bytes"];
  std::string bytes;
  for (size_t at = 0; at < hex.size(); at += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
  }
  EXPECT_EQ(bytes, path(name));
  EXPECT_THAT(out({"show", raw.substr(4)}), HasSubstr("needle"));
}

TEST_F(SearchProgram, JsonHoldsWhatIsPrinted) {
  makeLibrary();
  const auto json = nlohmann::json::parse(out({"search", "--json", "cat", "friends"}));
  EXPECT_EQ(json["query"], "cat friends");
  EXPECT_EQ(json["total"], 1);
  const auto& result = json["results"][0];
  EXPECT_EQ(result["path"], "DIR/docs/cats.txt");
  EXPECT_FALSE(result.contains("path_bytes"));
  EXPECT_EQ(result["modified"], "2023-11-14T22:13:20Z");
  EXPECT_EQ(result["snippets"][1]["line"], 4);
  EXPECT_EQ(result["snippets"][1]["text"], "The cat and the dog are friends.");
  EXPECT_EQ(result["snippets"][1]["hits"].dump(), "[[4,7],[24,31]]");
}

TEST_F(SearchProgram, BadQueriesAreExplained) {
  makeLibrary();
  EXPECT_EQ(run({"search", "cat", "OR"}),
            (Outcome{2, "",
                     "veska: OR wants a word, a phrase or a parenthesis after it\n"
                     "       cat OR\n"
                     "             ^\n"}));
  EXPECT_THAT(run({"search", "-cat"}).err, HasSubstr("only says what to leave out"));
  EXPECT_THAT(run({"search", "x"}).err, HasSubstr("fewer than 2 letters"));
  EXPECT_THAT(run({"search", "x", "cat"}).err, HasSubstr("\"x\" was ignored"));
  EXPECT_EQ(run({"search", std::string(100000, '(')}).status, 2);
}

TEST_F(SearchProgram, ShowsMembersOfArchivesAsSearchPrintsThem) {
  write("pack/inner/note.txt", "needle in a haystack\n");
  write("docs/other.txt", "hay\n");
  const std::string tar = "tar -czf " + path("docs/all.tar.gz") + " -C " + path("pack") + " inner";
  ASSERT_EQ(std::system(tar.c_str()), 0);
  ASSERT_EQ(run({"-q", "index", "docs"}).status, 0);
  const std::string member = out({"search", "-l", "needle"});
  EXPECT_EQ(member, "DIR/docs/all.tar.gz/all.tar/inner/note.txt\n");
  EXPECT_EQ(out({"show", "docs/all.tar.gz/all.tar/inner/note.txt"}), "needle in a haystack\n");
  EXPECT_EQ(out({"show", "docs/all.tar.gz"}), member);
  EXPECT_EQ(out({"files", "note*"}), member);
  writeFile(path("docs/odd.zip"), zipArchive({{"../up//x.txt", "dotted\n"}}));
  ASSERT_EQ(run({"-q", "update"}).status, 0);
  EXPECT_EQ(out({"search", "-l", "dotted"}), "DIR/docs/odd.zip/../up//x.txt\n");
  EXPECT_EQ(out({"show", "docs/odd.zip/../up//x.txt"}), "dotted\n");
}

TEST_F(SearchProgram, ShowsTextsAndOutlines) {
  makeLibrary();
  EXPECT_EQ(out({"show", "docs/sub/free.txt"}),
            "Free beer. Software for all.\nThis is free software, really.\n");
  EXPECT_EQ(out({"show", "docs/cats.txt", "cat", "-oN"}),
            "     3  A cat sleeps.\n     4  The cat and the dog are friends.\n");
  EXPECT_EQ(out({"show", "docs/sub/latin.txt", "caf\xC3\xA9", "--color", "always"}),
            "Un \x1B[1;31mcaf\xC3\xA9\x1B[0m noir.\n");
  EXPECT_EQ(run({"show", "docs/cats.txt", "bird", "--outline"}), (Outcome{1, "", ""}));
  EXPECT_EQ(run({"show", "docs"}).err,
            "veska: DIR/docs is a folder\n"
            "       name a file in it; list them with: veska files 'DIR/docs/*'\n");
  EXPECT_THAT(run({"show", "1"}).err, HasSubstr("no record 1"));
  EXPECT_THAT(run({"show", "docs/none.txt"}).err, HasSubstr("there is no file"));
  write("docs/later.txt", "not yet known\n");
  EXPECT_THAT(run({"show", "docs/later.txt"}).err, HasSubstr("is not in the index"));
  std::remove(path("docs/cats.txt").c_str());
  EXPECT_THAT(run({"show", "docs/cats.txt"}).err, HasSubstr("cannot be opened"));
}

TEST_F(SearchProgram, ListsWordsAndFiles) {
  makeLibrary();
  EXPECT_EQ(out({"words", "c*"}), "1\tcaf\xC3\xA9\n2\tcat\n1\tcats\n");
  EXPECT_EQ(out({"words", "-f", "-n", "2", "d*", "cat"}), "2\tcat\n2\tdog\n");
  EXPECT_EQ(out({"words", "Dog"}), "2\tdog\n");
  EXPECT_EQ(run({"words", "nowhere"}), (Outcome{1, "", ""}));
  EXPECT_EQ(out({"files", "*.md"}), "DIR/docs/dogs.md\n");
  EXPECT_EQ(out({"files", "*/SUB/l*", "-0"}), std::string("DIR/docs/sub/latin.txt") + '\0');
  EXPECT_EQ(run({"files", "*.none"}), (Outcome{1, "", ""}));
}

TEST_F(SearchProgram, VerifyReportsEveryChangedTable) {
  makeLibrary();
  EXPECT_THAT(out({"verify"}), HasSubstr("The index is sound: "));
  for (const char* table : {"files", "words", "skipped", "links", "hash"}) {
    const std::string file = tables() + table;
    const std::string intact = readFile(file);
    std::string bytes = intact;
    bytes.back() ^= 1;
    writeFile(file, bytes);
    const Outcome outcome = run({"verify"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.out, HasSubstr(table));
    EXPECT_THAT(outcome.err, HasSubstr("veska rebuild"));
    writeFile(file, intact);
  }
}

}  // namespace
}  // namespace veska::test
