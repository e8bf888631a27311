#include <gmock/gmock.h>

#include "tests/analyzers/analyzertest.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Tar : public AnalyzerTest {};

TEST_F(Tar, RegularFilesAreRecordedUnderTheNameFieldAlone) {
  const std::string inner = tarMember("deep.txt", "innermost ") + tarEnd();
  EXPECT_TRUE(indexNew(
      "a.tar", tarMember("docs/", "") + tarMember("docs/one.txt", "alpha beta ") +
                   tarMember("empty.txt", "") + tarMember("old.txt", "old ", '\0') +
                   tarMember("link.txt", "", '2') + tarMember("long.txt", "extended header", 'x') +
                   tarMember("in.tar", inner) + tarMember("image.png", "pixels ") + tarEnd() +
                   tarMember("beyond.txt", "beyond ")));
  EXPECT_THAT(records(),
              ElementsAre("a.tar", "a.tar//docs/one.txt", "a.tar//empty.txt", "a.tar//old.txt",
                          "a.tar//in.tar", "a.tar//in.tar//deep.txt", "a.tar//image.png"));
  EXPECT_EQ(seenIn("beta"), "a.tar//docs/one.txt");
  EXPECT_EQ(seenIn("old"), "a.tar//old.txt");
  EXPECT_EQ(seenIn("innermost"), "a.tar//in.tar//deep.txt");
  EXPECT_EQ(info("a.tar//docs/one.txt").size, 11U);
  EXPECT_EQ(info("a.tar//docs/one.txt").time, kTarTime);
  EXPECT_EQ(index().contentsIndexed, 2U);  // the archives, not what is read in place
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(Tar, AFullNameFieldHasNoTerminator) {
  const std::string name = std::string(96, 'n') + ".txt";
  EXPECT_TRUE(indexNew("a.tar", tarMember(name, "word ") + tarEnd()));
  EXPECT_THAT(records(), ElementsAre("a.tar", "a.tar//" + name));
}

TEST_F(Tar, NumbersAreReadLeniently) {
  using namespace std::string_literals;
  const std::pair<std::string, uint32_t> cases[] = {
      {"00000000005", 5}, {"         5 ", 5},  {"5\0 garbage"s, 5},
      {"xx5yy7", 5},      {"none at all", 0},  {"\x80\0\0\0\0\0\0\0\0\0\0\x05"s, 5},
      {"\xC3\xA4 5", 5},  {"\xBF\xFF\xFF", 0},
  };
  for (const auto& [field, size] : cases) {
    const bool empty = size == 0;
    EXPECT_TRUE(indexNew("a.tar", tarMember("n.txt", empty ? "" : "word ", '0', field) +
                                      tarMember("next.txt", "next ") + tarEnd()));
    EXPECT_EQ(info("a.tar//n.txt").size, size) << field;
    EXPECT_NE(record("a.tar//next.txt"), 0U) << field;
    index().files->markObsolete(record("a.tar//next.txt"));
  }
}

TEST_F(Tar, SizesThatLieEndTheWalkWithTheFile) {
  using namespace std::string_literals;
  for (const std::string& field :
       {"77777777777"s, "777777777777"s, "\x80\0\0\0\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s,
        "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\x80\0\0\0\0\0\0\1\0\0\0\0"s}) {
    for (const char kind : {'0', '5'}) {
      EXPECT_TRUE(indexNew("a.tar", tarMember("n.txt", "word more ", kind, field) +
                                        tarMember("next.txt", "next ") + tarEnd()));
      EXPECT_EQ(record("a.tar//next.txt"), 0U);
    }
    EXPECT_EQ(info("a.tar//n.txt").size, UINT32_MAX);
    EXPECT_EQ(seenIn("word"), "a.tar//n.txt");
    EXPECT_EQ(problems().back(), "Damaged a.tar");
  }
}

TEST_F(Tar, WhatFollowsAFoldersHeaderIsTheNextHeader) {
  EXPECT_TRUE(indexNew("a.tar", tarMember("folder/", "", '5', "00000001000") +
                                    tarMember("one.txt", "alpha ") + tarEnd()));
  EXPECT_NE(record("a.tar//one.txt"), 0U);
}

TEST_F(Tar, InPlaceTextEndsWithTheMemberAndWithTheLimitOfAFile) {
  index().maxPerFileRead = 70'000;
  // A word that ends with its member has no separator: it is left out.
  EXPECT_TRUE(
      indexNew("a.tar", tarMember("a.txt", "whole cut") +
                            tarMember("b.txt", std::string(69'990, ' ') + "inside beyond ") +
                            tarMember("c.txt", "third ") + tarEnd()));
  EXPECT_EQ(seenIn("whole"), "a.tar//a.txt");
  EXPECT_EQ(seenIn("inside"), "a.tar//b.txt");
  EXPECT_EQ(seenIn("cut") + seenIn("beyond") + seenIn("bey"), "");
  EXPECT_EQ(seenIn("third"), "a.tar//c.txt");
  EXPECT_EQ(index().bytesRead, 9 + 70'000 + 6);
}

TEST_F(Tar, ExtractsTheFirstRegularFileOfTheNameInItsExactSize) {
  writeFile(files() + "/a.tar", tarMember("n.txt", "not this", '2') +
                                    tarMember("n.txt", "this one") +
                                    tarMember("n.txt", "nor this") + tarEnd());
  EXPECT_EQ(extracted("a.tar", "n.txt"), "this one");
  EXPECT_EQ(extracted("a.tar", "N.txt"), "none");
}

TEST_F(Tar, ACopyHasThePaddedLength) {
  writeFile(path("show"), "");
  addConverter("copy", "txt", "wc -c < %i > " + path("show") + "; : %o");
  include({{"*.tar", "tar"}, {"*.dat", "copy"}, {"*.txt", "generic"}});
  EXPECT_TRUE(indexNew("a.tar", tarMember("x.dat", "12345") + tarEnd()));
  EXPECT_EQ(readFile(path("show")), "512\n");
}

TEST_F(Tar, UnicodeTextIsReadAsInAFileOfItsOwn) {
  using namespace std::string_literals;
  useUnicode();
  const std::string text = "\xFF\xFEg\0r\0\xFC\0n\0 \0"s;
  EXPECT_TRUE(indexNew("a.txt", text));
  const unsigned long words = index().wordsIndexed;
  EXPECT_EQ(words, 1U);
  EXPECT_TRUE(indexNew("a.tar", tarMember("in.txt", text) + tarEnd()));
  EXPECT_EQ(index().wordsIndexed, words);
  EXPECT_EQ(seenIn(index().words->getText(index().words->getFirst())), "a.tar//prefix/in.txt");
}

TEST_F(Tar, DamageAnywhereIsSurvived) {
  const std::string sound = tarMember("a.txt", "alpha ") +
                            tarMember("b.tar", tarMember("c.txt", "delta ") + tarEnd()) + tarEnd();
  for (size_t i = 0; i < sound.size(); i += i % 512 < 160 ? 3 : 37) {
    for (const char mask : {'\xFF', '\x01', '\x40'}) {
      std::string damaged = sound;
      damaged[i] = static_cast<char>(damaged[i] ^ mask);
      EXPECT_TRUE(indexNew("a.tar", damaged));
    }
    EXPECT_TRUE(indexNew("a.tar", sound.substr(0, i)));
  }
}

TEST_F(Tar, AnEmptyArchiveCountsAsOneFile) {
  EXPECT_TRUE(indexNew("a.tar", tarEnd()));
  EXPECT_TRUE(indexNew("b.tar", ""));
  EXPECT_EQ(index().contentsIndexed, 2U);
  EXPECT_EQ(records().size(), 2U);
}

}  // namespace
}  // namespace veska::test
