#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "tests/analyzers/analyzertest.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Zip : public AnalyzerTest {};

constexpr uint16_t kEncrypted = 1;

TEST_F(Zip, MembersAreRecordedAndReadInPlaceOrThroughACopy) {
  const std::string inner = zipArchive({{"deep.txt", "innermost "}});
  EXPECT_TRUE(indexNew("a.zip", zipArchive({{"docs/", ""},
                                            {"docs/one.txt", "alpha beta "},
                                            {"two.TXT", "gamma ", false},
                                            {"other.bin", "nothing "},
                                            {"x\\inner.zip", inner}})));
  EXPECT_THAT(records(),
              ElementsAre("a.zip", "a.zip//docs/one.txt", "a.zip//two.TXT", "a.zip//other.bin",
                          "a.zip//x\\inner.zip", "a.zip//x\\inner.zip//deep.txt"));
  EXPECT_EQ(seenIn("alpha"), "a.zip//docs/one.txt");
  EXPECT_EQ(seenIn("gamma"), "a.zip//two.TXT");
  EXPECT_EQ(seenIn("nothing"), "");
  EXPECT_EQ(seenIn("innermost"), "a.zip//x\\inner.zip//deep.txt");
  struct tm local = {};
  strptime("2021-03-04 05:06:08", "%Y-%m-%d %H:%M:%S", &local);
  local.tm_isdst = -1;
  EXPECT_EQ(info("a.zip//docs/one.txt").time, mktime(&local));
  EXPECT_EQ(info("a.zip//docs/one.txt").size, 11U);
  EXPECT_EQ(index().filesIndexed, 5U);
  EXPECT_EQ(index().contentsIndexed, 3U);  // the archives themselves are not counted
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(Zip, WhatFollowsAMemberThatCannotBeOpenedIsLeftOut) {
  for (const bool encrypted : {true, false}) {
    ZipMember bad{"bad.txt", "secret ", true, static_cast<uint16_t>(encrypted ? kEncrypted : 0)};
    std::string bytes =
        zipArchive({{"first.txt", "before "}, {"skipped.bin", ""}, bad, {"last.txt", "after "}});
    // A local header that is none.
    if (!encrypted) bytes.replace(bytes.rfind("PK\3\4", bytes.find("bad.txt")), 4, "XXXX");
    const std::string name = encrypted ? "e.zip" : "d.zip";
    EXPECT_TRUE(indexNew(name, bytes));
    EXPECT_EQ(seenIn("before"), name + "//first.txt");
    EXPECT_NE(record(name + "//bad.txt"), 0U);
    EXPECT_EQ(record(name + "//last.txt"), 0U);
    EXPECT_EQ(seenIn("secret") + seenIn("after"), "");
  }
  EXPECT_THAT(problems(),
              ElementsAre("PasswordNeeded e.zip/bad.txt", "MemberFailed d.zip/bad.txt"));
}

TEST_F(Zip, NamesOfAnyLengthAreCutAt255BytesAndShownAgain) {
  std::vector<ZipMember> members;
  for (const size_t length : {254UL, 255UL, 256UL, 257UL, 400UL}) {
    // The first bytes tell the members apart.
    members.push_back({std::to_string(length) + std::string(length - 3, 'n'), "word "});
  }
  members.push_back({std::string("cut\0.txt", 8), "word "});
  include({{"*n", "generic"}, {"cut", "generic"}, {"*.zip", "zip"}});
  EXPECT_TRUE(indexNew("a.zip", zipArchive(members)));
  ASSERT_EQ(records().size(), 7U);
  for (size_t i = 0; i < 5; ++i) {
    const std::string name = members[i].name.substr(0, 255);
    EXPECT_NE(record("a.zip//" + name), 0U);
    const std::string shown =
        index().extractToTempFile((files() + "/a.zip").c_str(), name.c_str(), 1);
    EXPECT_EQ(shown, "");  // without a ".", the whole name is the extension: too long for a file
  }
  EXPECT_NE(record("a.zip//cut"), 0U);
}

TEST_F(Zip, PatternsSeeBaseNamesAndDecideWhatIsRecorded) {
  exclude("*secret*");
  index().trackAll = false;
  EXPECT_TRUE(indexNew("a.zip", zipArchive({{"secret/open.txt", "shown "},
                                            {"d/secret.txt", "hidden "},
                                            {"d/image.png", ""}})));
  EXPECT_THAT(records(), ElementsAre("a.zip", "a.zip//secret/open.txt"));
  index().trackAll = true;
  EXPECT_TRUE(indexAgain("a.zip"));
  EXPECT_EQ(records().size(), 4U);
  EXPECT_EQ(seenIn("hidden"), "");
}

TEST_F(Zip, AnUpdatePassesOverWhatIsKnownAndNotNewer) {
  indexNew("a.zip", zipArchive({{"one.txt", "alpha "}}));
  const std::string more = zipArchive({{"one.txt", "changed "}, {"two.txt", "added "}});
  index().isUpdate = true;
  index().timeBase = info("a.zip//one.txt").time;
  indexNew("a.zip", more);
  EXPECT_EQ(seenIn("changed"), "");
  EXPECT_EQ(seenIn("added"), "a.zip//two.txt");
  index().timeBase -= 1;
  indexAgain("a.zip");
  EXPECT_EQ(seenIn("changed"), "a.zip//one.txt");
}

TEST_F(Zip, NoNameLeadsOutOfTheTemporaryDirectory) {
  const std::string inner = zipArchive({{"deep.txt", "innermost "}});
  std::vector<ZipMember> members;
  for (const char* name : {"../../up.zip", "/tmp/absolute.zip", "..\\..\\back.zip", "a/..zip",
                           "new\nline.zip", "...zip", "../.zip"}) {
    members.push_back({name, inner});
  }
  members.push_back({std::string(250, 'l') + ".zip", inner});
  index().temporaryDirectory = path("a/b");
  std::filesystem::create_directories(path("a/b"));
  EXPECT_TRUE(indexNew("a.zip", zipArchive(members)));
  EXPECT_EQ(index().contentsIndexed, members.size());
  EXPECT_THAT(listTree(path("a")), ElementsAre("b"));
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(Zip, WithoutATemporaryDirectoryMembersThatNeedAFileArePassedOver) {
  index().temporaryDirectory.clear();
  EXPECT_TRUE(indexNew(
      "a.zip", zipArchive({{"inner.zip", zipArchive({{"d.txt", "deep "}})}, {"b.txt", "flat "}})));
  EXPECT_THAT(problems(), ElementsAre("MemberFailed a.zip/inner.zip"));
  EXPECT_EQ(seenIn("flat"), "a.zip//b.txt");
  EXPECT_FALSE(index().readFailed);
}

TEST_F(Zip, ExtractsForDisplayIntoAFreshPrivateFile) {
  const std::string text = std::string(200'000, 'x') + "end";
  writeFile(files() + "/a.zip",
            zipArchive({{"docs/readme.txt", text}, {"docs/README.txt", "other"}}));
  const std::string target = engineTemp() + "/tmp7.txt";
  writeFile(path("victim"), "untouched");
  ASSERT_EQ(symlink(path("victim").c_str(), target.c_str()), 0);
  const std::string container = files() + "/a.zip";
  ASSERT_EQ(index().extractToTempFile(container.c_str(), "docs/readme.txt", 7), target);
  EXPECT_EQ(readFile(target), text);
  EXPECT_EQ(readFile(path("victim")), "untouched");
  struct stat status;
  ASSERT_EQ(lstat(target.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
  ASSERT_EQ(index().extractToTempFile(container.c_str(), "docs/README.txt", 7), target);
  EXPECT_EQ(readFile(target), "other");
  EXPECT_EQ(index().extractToTempFile(container.c_str(), "readme.txt", 7), "");
  unlink(target.c_str());
}

TEST_F(Zip, MembersThatShareTheirBytesMeetTheLimitOfTheArchive) {
  std::vector<ZipMember> members{{"0.txt", std::string(500'000, ' ')}};
  for (int i = 1; i < 300; ++i) {
    members.push_back({std::to_string(i) + ".txt", members[0].data, true, 0, 0});
  }
  index().maxArchiveBytes = 1'200'000;
  EXPECT_TRUE(indexNew("a.zip", zipArchive(members)));
  EXPECT_EQ(index().bytesRead, 1'200'000);
  EXPECT_EQ(records().size(), 4U);  // the archive and three members
  EXPECT_THAT(problems(), ElementsAre("LimitReached a.zip/2.txt"));
  EXPECT_EQ(index().limitsReached, 1U);
  EXPECT_TRUE(indexAgain("a.zip"));  // the count starts afresh
  EXPECT_EQ(index().bytesRead, 2'400'000);
}

TEST_F(Zip, ACopyThatFailsLeavesTheMemberOutAndTheRestIn) {
  std::string bytes = zipArchive({{"bad.zip", zipArchive({{"in.txt", "inner "}}), false},
                                  {"sum.txt", "changed ", false},
                                  {"good.txt", "good "}});
  bytes[bytes.find("changed")] = 'C';
  EXPECT_TRUE(indexNew("a.zip", bytes));
  EXPECT_THAT(problems(), ElementsAre("MemberFailed a.zip/sum.txt"));
  EXPECT_EQ(seenIn("good"), "a.zip//good.txt");

  std::string packed = std::string(3000, 'p') + zipArchive({{"in.txt", "other "}});
  bytes = zipArchive({{"bad.zip", packed}, {"good.txt", "fine "}});
  bytes.replace(bytes.find("bad.zip") + 7, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_TRUE(indexNew("b.zip", bytes));
  EXPECT_EQ(problems().back(), "MemberFailed b.zip/bad.zip");
  EXPECT_EQ(seenIn("fine"), "b.zip//good.txt");
}

// Every byte changed and every length: the end comes soon, and no byte outside is touched.
TEST_F(Zip, DamageAnywhereIsSurvived) {
  index().maxArchiveBytes = 1 << 20;
  const std::string sound = zipArchive({{"a.txt", "alpha beta gamma "},
                                        {"b.zip", zipArchive({{"c.txt", "delta "}}), false},
                                        {"d.txt", "stored ", false}});
  for (size_t i = 0; i < sound.size(); ++i) {
    for (const char mask : {'\xFF', '\x01', '\x80'}) {
      std::string damaged = sound;
      damaged[i] = static_cast<char>(damaged[i] ^ mask);
      indexNew("a.zip", damaged);
    }
    indexNew("a.zip", sound.substr(0, i));
  }
  EXPECT_TRUE(indexNew("a.zip", sound));
  EXPECT_EQ(seenIn("delta"), "a.zip//b.zip//c.txt");
}

TEST_F(Zip, NoArchiveIsNoSuccess) {
  EXPECT_FALSE(indexNew("a.zip", "no archive at all"));
  EXPECT_FALSE(index().readFailed);
  unlink((files() + "/a.zip").c_str());
  EXPECT_FALSE(indexAgain("a.zip"));
  EXPECT_TRUE(index().readFailed);
  EXPECT_TRUE(indexNew("b.zip", "in front of it" + zipArchive({})));
  EXPECT_THAT(problems(), ElementsAre("Damaged a.zip", "OpenFailed a.zip"));
}

}  // namespace
}  // namespace veska::test
