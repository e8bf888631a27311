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
          "\u0412\u0441\u0435 \u0441\u0447\u0430\u0441\u0442\u043B\u0438\u0432\u044B\u0435 "
          "\u0441\u0435\u043C\u044C\u0438.\n");  // Все счастливые семьи.
    write("docs/el.txt", "\u0397 \u0391\u03B8\u03AE\u03BD\u03B1.\n");  // Η Αθήνα.
    write("docs/ja", "\u6771\u4EAC\u90FD\u306F\u9996\u90FD\n\u4EAC\u90FD\u306E\u732B\n");
    write("docs/fr.txt", "Un caf\u00E9 noir.\n");
    write("docs/fr-old.txt", "Un caf\xE9 cr\xE8me.\n");
    write("docs/en.txt", "The cafe here.\n");
    write("docs/de.html", "<p>Stra&szlig;e <b>Caf</b>&eacute;</p>");
    write("docs/data", std::string("\177ELF\0\0\1caf\u00E9\0\0", 14));
  }
  void index() const { EXPECT_EQ(run({"-q", "index", "docs"}), (Outcome{0, "", ""})); }
  // Changes the line of the settings.
  void set(const std::string& line) const {
    const std::string file = path("home/veska.toml");
    std::string text = readFile(file);
    const size_t old = text.find("unicode = ");
    text.replace(old, text.find('\n', old) - old, line);
    writeFile(file, text);
  }
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
      {"\u0421\u0415\u041C\u042C\u0418", "ru.txt "},
      {"\"\u0432\u0441\u0435 \u0441\u0447\u0430\u0441\u0442\u043B\u0438\u0432\u044B\u0435\"",
       "ru.txt "},
      {"\u0391\u0398\u0397\u039D\u0391", "el.txt "},
      {"\u6771\u4EAC\u732B", ""},
      {"\"\u9996\u90FD \u4EAC\u90FD\"", "ja "},
      {"cafe", "de.html en.txt fr-old.txt fr.txt "},
      {"Caf\u00E9", "de.html fr-old.txt fr.txt "},
      {"cafe NEAR/2 creme", "fr-old.txt "},
      {"STRASSE", "de.html "},
      {"cafe -noir -here", "de.html fr-old.txt "},
  };
  for (const auto& [query, files] : cases) EXPECT_EQ(names(query), files) << query;
  EXPECT_THAT(run({"search", "\u00E0"}).err, HasSubstr("fewer than 2 letters"));
  EXPECT_THAT(out({"verify"}), HasSubstr("The index is sound"));
}

TEST_F(UnicodeProgram, MarksTheFormsThatWereFound) {
  index();
  EXPECT_EQ(out({"show", "docs/fr-old.txt", "creme", "--color", "always"}),
            "Un caf\u00E9 \x1B[1;31mcr\u00E8me\x1B[0m.\n");
  EXPECT_EQ(out({"show", "docs/ja", "\u90FD", "-oN", "--color", "always"}),
            "\x1B[32m     1\x1B[0m  \u6771\u4EAC\x1B[1;31m\u90FD\x1B[0m\u306F\u9996\x1B[1;31m"
            "\u90FD\x1B[0m\n"
            "\x1B[32m     2\x1B[0m  \u4EAC\x1B[1;31m\u90FD\x1B[0m\u306E\u732B\n");
  const auto json = nlohmann::json::parse(
      runIn("C", {"search", "--json",
                  "\u0430\u0444\u0438\u043D\u044B OR \u03B1\u03B8\u03B7\u03BD\u03B1"})
          .out);
  EXPECT_EQ(json["results"][0]["snippets"][0]["text"], "\u0397 \u0391\u03B8\u03AE\u03BD\u03B1.");
  EXPECT_EQ(json["results"][0]["snippets"][0]["hits"].dump(), "[[2,7]]");
}

TEST_F(UnicodeProgram, ListsWordsOfEveryScript) {
  index();
  EXPECT_EQ(out({"words", "CAF?"}), "1\tcafe\n3\tcaf\u00E9\n");
  EXPECT_EQ(out({"words", "creme"}), "1\tcr\u00E8me\n");
  EXPECT_EQ(out({"words", "\u90FD*"}),
            "1\t\u4EAC\u90FD\n1\t\u90FD\u306E\n1\t\u90FD\u306F\n1\t\u9996\u90FD\n");
}

TEST_F(UnicodeProgram, SpeaksTheCharacterSetOfTheLocale) {
  index();
  const Outcome latin = runIn("fr_FR.ISO-8859-1", {"search", "cr\xE8me", "--lines", "1"});
  EXPECT_EQ(latin.status, 0) << latin;
  EXPECT_THAT(latin.out, HasSubstr("Un caf\xE9 cr\xE8me."));
  EXPECT_EQ(runIn("ru_RU.KOI8-R", {"show", "docs/ru.txt"}).out.substr(0, 4), "\xF7\xD3\xC5 ");
  // Nobody has said what a pipe can take: it gets all there is.
  EXPECT_THAT(runIn("C", {"search", "cafe"}).out, HasSubstr("caf\u00E9"));
  EXPECT_THAT(runIn("fr_FR.ISO-8859-1", {"search", "\xE0"}).err, HasSubstr("\"\xE0\" was ignored"));
}

TEST_F(UnicodeProgram, AccentsFollowEveryRun) {
  index();
  EXPECT_EQ(names("pate"), "");
  write("docs/new.txt", "p\u00E2t\u00E9\n");
  out({"update"});
  EXPECT_EQ(names("pate"), "new.txt ");
  EXPECT_THAT(readFile(tables() + "accents"), HasSubstr("pate\tp\u00E2t\u00E9\n"));
  EXPECT_EQ(run({"verify"}).status, 0);
}

TEST_F(UnicodeProgram, VerifyTellsWhatIsWrongWithTheAccents) {
  index();
  const std::string file = tables() + "accents";
  const std::string intact = readFile(file);
  const std::pair<std::string, const char*> cases[] = {
      {"zz\tzz\n" + intact, "not sorted"},
      {intact + "zzz\tzz\u00E9\n", "no word with its base"},
      {intact + "zze\tzz\u00E9\n", "has a word that the index has not"},
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
  EXPECT_EQ(names("caf\u00E9"), "de.html fr-old.txt fr.txt ");
}

TEST_F(UnicodeProgram, BytesOfOneCharacterSetAreStillThereToBeChosen) {
  index();
  const std::string remark =
      "veska: the settings have changed since the files were read;"
      " to apply them to all files: veska rebuild\n";
  set("unicode = false");
  EXPECT_EQ(run({"update"}).err, remark);
  EXPECT_EQ(names("cafe"), "de.html en.txt fr-old.txt fr.txt ") << "until then it is as it was";
  // A file without an extension is read as the index in force reads it.
  write("docs/later", "caf\u00E9\n");
  EXPECT_EQ(run({"update"}).err, remark);
  EXPECT_EQ(names("caf\u00E9"), "de.html fr-old.txt fr.txt later ");
  out({"rebuild"});
  EXPECT_EQ(::access((tables() + "accents").c_str(), F_OK), -1);
  EXPECT_EQ(names("cafe"), "en.txt ");
  EXPECT_EQ(names("caf\u00E9"), "fr-old.txt ");
  EXPECT_THAT(run({"search", "\u0432\u0441\u0435"}).err, HasSubstr("no index word can hold"));
  EXPECT_EQ(run({"verify"}).status, 0);
  // An index of a time when there was no choice says nothing of it.
  const std::string state = tables() + "state.json";
  std::string text = readFile(state);
  const size_t at = text.find(" \"unicode\": false,\n");
  ASSERT_NE(at, std::string::npos);
  text.erase(at, 19);
  writeFile(state, text);
  EXPECT_EQ(names("caf\u00E9"), "fr-old.txt ");
  EXPECT_EQ(run({"update"}), (Outcome{0, "nothing has changed: 9 files in 1 folder\n", ""}));
  set("unicode = true");
  EXPECT_EQ(run({"update"}).err, remark);
  out({"rebuild"});
  EXPECT_EQ(names("cafe"), "de.html en.txt fr-old.txt fr.txt later ");
}

}  // namespace
}  // namespace veska::test
