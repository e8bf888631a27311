// The table of words with accents: what is written into it, and that no file in its place does any
// harm.
#include "host/accents.h"

#include <gtest/gtest.h>

#include <random>

#include "host/query.h"
#include "host/search.h"
#include "host/verify.h"
#include "tests/host/smallindex.h"

namespace veska {
namespace {

using Strings = std::vector<std::string>;

class Accents : public testing::Test {
 protected:
  Accents() : files_(true) {
    files_.write("a.txt", "café cafe cafè été Елка\n");
    files_.write("b.txt", "Ёлка 東京都 naïve\n");
    files_.build();
  }

  // Files that the query finds, by name without ".txt".
  std::string found(const std::string& text) {
    CVeskaIndex* index = files_.open();
    Reader reader(index, files_.tables());
    const QueryResult parsed =
        parseQuery(text, {}, [index](std::string_view part) { return cutUnicode(index, part); });
    EXPECT_TRUE(parsed.query) << parsed.error.message;
    Search search(reader, *parsed.query, {2, 100});
    const auto texts = [&](FileId file, const std::function<void(std::string_view)>& use) {
      use(files_.texts().at(reader.path(file)));
      return true;
    };
    std::string names;
    for (const Ranked& file : search.run({}, texts).found) {
      const std::string path = reader.path(file.file);
      names += path.substr(path.size() - 5, 1);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string table() const { return files_.tables() + "accents"; }

  test::SmallIndex files_;
};

TEST_F(Accents, TableHoldsTheWordsThatLoseMarks) {
  EXPECT_EQ(test::readFile(table()),
            "cafe\tcafè\ncafe\tcafé\nete\tété\nnaive\tnaïve\n"
            "елка\tёлка\n");
  const AccentTable accents(files_.tables());
  EXPECT_EQ(accents.wordsOf("cafe"), (Strings{"cafè", "café"}));
  EXPECT_EQ(accents.wordsOf("ete"), Strings{"été"});
  for (const char* none : {"", "caf", "cafes", "a", "zzz", "été"}) {
    EXPECT_EQ(accents.wordsOf(none), Strings()) << none;
  }
}

TEST_F(Accents, WordsWithoutThemFindBothAndWithThemOne) {
  const std::pair<const char*, const char*> cases[] = {
      {"елка", "ab"},  // without the dots
      {"ЁЛКА", "b"},   // with them
      {"cafe", "a"},        {"CAFE\u0301", "a"},   {"nai*", "b"},   {"naï*", "b"},
      {"都*", "b"},         {"*東", "b"},          {"naí*", ""},    {"\"cafe cafe\"", "a"},
      {"\"éte елка\"", ""}, {"\"ete елка\"", "a"}, {"東京都", "b"}, {"東都", ""},
      {"東京*", "b"},
  };
  for (const auto& [query, files] : cases) EXPECT_EQ(found(query), files) << query;
}

TEST_F(Accents, DamagedOrAbsentTableCostsOnlyItsOwnAnswers) {
  const std::string intact = test::readFile(table());
  std::mt19937 random(5);
  for (int round = 0; round < 300; ++round) {
    std::string text = intact;
    for (int change = 0; change < 3; ++change) {
      const size_t at = random() % text.size();
      if (round % 3 == 0) {
        text.resize(at + 1);
      } else {
        text[at] = "\n\t\0c\xC3"[random() % 5];
      }
    }
    test::writeFile(table(), text);
    const AccentTable accents(files_.tables());
    for (const char* base : {"cafe", "ete", "", "\n", "\t"}) {
      for (const std::string& word : accents.wordsOf(base)) EXPECT_LE(word.size(), text.size());
    }
    found("caf* ete");
  }
  for (const bool isThere : {true, false}) {
    isThere ? test::writeFile(table(), "") : void(::unlink(table().c_str()));
    EXPECT_EQ(found("cafe"), "a");
    EXPECT_EQ(found("café"), "a");
    EXPECT_EQ(found("naive"), "");
  }
}

}  // namespace
}  // namespace veska
