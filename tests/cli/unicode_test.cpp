// Text of every script, from the file to the terminal and back, through the real program.
#include <gmock/gmock.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "tests/cli/program.h"

namespace veska::test {
namespace {

using testing::HasSubstr;

class UnicodeProgram : public ProgramTest {
 protected:
  void SetUp() override {
    write("docs/ru.txt",
          "Все счастливые "
          "семьи.\n");
    write("docs/el.txt", "Η Αθήνα.\n");
    write("docs/ja", "東京都は首都\n京都の猫\n");
    write("docs/fr.txt", "Un café noir.\n");
    write("docs/fr-old.txt", "Un caf\xE9 cr\xE8me.\n");
    write("docs/en.txt", "The cafe here.\n");
    write("docs/de.html", "<p>Stra&szlig;e <b>Caf</b>&eacute;</p>");
    write("docs/data", std::string("\177ELF\0\0\1café\0\0", 14));
  }
  void index() const { EXPECT_EQ(run({"-q", "index", "docs"}), (Outcome{0, "", ""})); }
  std::string names(const std::string& query) const {
    std::string text = found(query);
    for (size_t at; (at = text.find("DIR/docs/")) != std::string::npos;) text.erase(at, 9);
    for (char& c : text) c = c == '\n' ? ' ' : c;
    return text;
  }
};

TEST_F(UnicodeProgram, FindsEveryScriptInAnyCase) {
  index();
  const std::pair<const char*, const char*> cases[] = {
      {"СЕМЬИ", "ru.txt "},
      {"\"все счастливые\"", "ru.txt "},
      {"ΑΘΗΝΑ", "el.txt "},
      {"東京猫", ""},
      {"\"首都 京都\"", "ja "},
      {"cafe", "de.html en.txt fr-old.txt fr.txt "},
      {"Café", "de.html fr-old.txt fr.txt "},
      {"cafe NEAR/2 creme", "fr-old.txt "},
      {"STRASSE", "de.html "},
      {"cafe -noir -here", "de.html fr-old.txt "},
  };
  for (const auto& [query, files] : cases) EXPECT_EQ(names(query), files) << query;
  EXPECT_THAT(run({"search", "à"}).err, HasSubstr("fewer than 2 letters"));
  EXPECT_THAT(out({"verify"}), HasSubstr("The index is sound"));
}

TEST_F(UnicodeProgram, MarksTheFormsThatWereFound) {
  index();
  EXPECT_EQ(out({"show", "docs/fr-old.txt", "creme", "--color", "always"}),
            "Un café \x1B[1;31mcrème\x1B[0m.\n");
  EXPECT_EQ(out({"show", "docs/ja", "都", "-oN", "--color", "always"}),
            "\x1B[32m     1\x1B[0m  東京\x1B[1;31m都\x1B[0mは首\x1B[1;31m"
            "都\x1B[0m\n"
            "\x1B[32m     2\x1B[0m  京\x1B[1;31m都\x1B[0mの猫\n");
  const auto json = nlohmann::json::parse(runIn("C", {"search", "--json", "афины OR αθηνα"}).out);
  EXPECT_EQ(json["results"][0]["snippets"][0]["text"], "Η Αθήνα.");
  EXPECT_EQ(json["results"][0]["snippets"][0]["hits"].dump(), "[[2,7]]");
}

TEST_F(UnicodeProgram, ListsWordsOfEveryScript) {
  index();
  EXPECT_EQ(out({"words", "CAF?"}), "1\tcafe\n3\tcafé\n");
  EXPECT_EQ(out({"words", "creme"}), "1\tcrème\n");
  EXPECT_EQ(out({"words", "都*"}), "1\t京都\n1\t都の\n1\t都は\n1\t首都\n");
}

TEST_F(UnicodeProgram, SpeaksTheCharacterSetOfTheLocale) {
  index();
  const Outcome latin = runIn("fr_FR.ISO-8859-1", {"search", "cr\xE8me", "--lines", "1"});
  EXPECT_EQ(latin.status, 0) << latin;
  EXPECT_THAT(latin.out, HasSubstr("Un caf\xE9 cr\xE8me."));
  EXPECT_EQ(runIn("ru_RU.KOI8-R", {"show", "docs/ru.txt"}).out.substr(0, 4), "\xF7\xD3\xC5 ");
  // Nobody has said what a pipe can take: it gets all there is.
  EXPECT_THAT(runIn("C", {"search", "cafe"}).out, HasSubstr("café"));
  EXPECT_THAT(runIn("fr_FR.ISO-8859-1", {"search", "\xE0"}).err, HasSubstr("\"\xE0\" was ignored"));
}

TEST_F(UnicodeProgram, AccentsFollowEveryRun) {
  index();
  EXPECT_EQ(names("pate"), "");
  write("docs/new.txt", "pâté\n");
  out({"update"});
  EXPECT_EQ(names("pate"), "new.txt ");
  EXPECT_THAT(readFile(tables() + "accents"), HasSubstr("pate\tpâté\n"));
  EXPECT_EQ(run({"verify"}).status, 0);
}

TEST_F(UnicodeProgram, VerifyTellsWhatIsWrongWithTheAccents) {
  index();
  const std::string file = tables() + "accents";
  const std::string intact = readFile(file);
  const std::pair<std::string, const char*> cases[] = {
      {"zz\tzz\n" + intact, "not sorted"},
      {intact + "zzz\tzzé\n", "no word with its base"},
      {intact + "zze\tzzé\n", "has a word that the index has not"},
      {intact.substr(intact.find('\n') + 1), "lines for"},
      {intact.substr(0, intact.size() - 1), "no word with its base"},
  };
  for (const auto& [text, complaint] : cases) {
    writeFile(file, text);
    const Outcome outcome = run({"verify"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.out, HasSubstr(complaint));
    EXPECT_THAT(outcome.out, HasSubstr("\"accents\" "));
    EXPECT_EQ(names("here"), "en.txt ");
  }
  ::unlink(file.c_str());
  EXPECT_THAT(run({"verify"}).out, HasSubstr("the table \"accents\" is missing"));
  EXPECT_EQ(names("cafe"), "en.txt ");
  EXPECT_EQ(names("café"), "de.html fr-old.txt fr.txt ");
}

TEST_F(UnicodeProgram, BytesOfOneCharacterSetAreStillThereToBeChosen) {
  index();
  const std::string remark =
      "veska: the settings have changed since the files were read;"
      " to apply them to all files: veska rebuild\n";
  changeSettings("unicode = true", "unicode = false");
  EXPECT_EQ(run({"update"}).err, remark);
  EXPECT_EQ(names("cafe"), "de.html en.txt fr-old.txt fr.txt ") << "until then it is as it was";
  // A file without an extension is read as the index in force reads it.
  write("docs/later", "café\n");
  EXPECT_EQ(run({"update"}).err, remark);
  EXPECT_EQ(names("café"), "de.html fr-old.txt fr.txt later ");
  out({"rebuild"});
  EXPECT_EQ(::access((tables() + "accents").c_str(), F_OK), -1);
  EXPECT_EQ(names("cafe"), "en.txt ");
  EXPECT_EQ(names("café"), "fr-old.txt ");
  EXPECT_THAT(run({"search", "все"}).err, HasSubstr("no index word can hold"));
  EXPECT_EQ(run({"verify"}).status, 0);
  // An index of a time when there was no choice says nothing of it.
  const std::string state = tables() + "state.json";
  std::string text = readFile(state);
  const size_t at = text.find(" \"unicode\": false,\n");
  ASSERT_NE(at, std::string::npos);
  text.erase(at, 19);
  writeFile(state, text);
  EXPECT_EQ(names("café"), "fr-old.txt ");
  EXPECT_EQ(run({"update"}), (Outcome{0, "nothing has changed: 9 files in 1 folder\n", ""}));
  changeSettings("unicode = false", "unicode = true");
  EXPECT_EQ(run({"update"}).err, remark);
  out({"rebuild"});
  EXPECT_EQ(names("cafe"), "de.html en.txt fr-old.txt fr.txt later ");
}

}  // namespace
}  // namespace veska::test
