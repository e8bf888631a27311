#include <gmock/gmock.h>
#include <unistd.h>

#include "api/veskalib.h"
#include "tests/analyzers/analyzertest.h"
#include "tests/support/archives.h"

namespace veska::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Gzip : public AnalyzerTest {};

TEST_F(Gzip, TheMemberIsCalledWhatTheFileIsLessItsExtension) {
  include({{"*", "gzip"}});
  const std::pair<const char*, const char*> cases[] = {
      {"notes.txt.gz", "notes.txt"},
      {"src.tgz", "src.tar"},
      {"archive.TGZ", "archive"},
      {"plain", "plain"},
      {"a.b\\c", "c"},
      {"b\\.gz", ""},
      {".tgz", ""},
  };
  exclude("*");
  for (const auto& [file, member] : cases) {
    EXPECT_EQ(indexNew(file, gzipped("")), *member != 0) << file;
    if (*member) {
      EXPECT_NE(record(std::string(file) + "//" + member), 0U) << file;
    }
  }
}

TEST_F(Gzip, TheMemberGetsTheContainersTimeAndItsOwnSize) {
  EXPECT_TRUE(indexNew("a.txt.gz", gzipped("alpha beta ") + gzipped("second stream ")));
  EXPECT_EQ(info("a.txt.gz//a.txt").time, 1'000'000);
  EXPECT_EQ(info("a.txt.gz//a.txt").size, 25U);
  EXPECT_EQ(seenIn("stream"), "a.txt.gz//a.txt");
  EXPECT_EQ(index().contentsIndexed, 1U);
  EXPECT_EQ(index().filesIndexed, 1U);
}

TEST_F(Gzip, ArchivesInsideAreReadThroughTheirCopies) {
  const std::string tar =
      tarMember("in.txt", "inner ") + tarMember("x.txt.gz", gzipped("innermost ")) + tarEnd();
  EXPECT_TRUE(indexNew("src.tgz", gzipped(tar)));
  EXPECT_EQ(seenIn("inner"), "src.tgz//src.tar//in.txt");
  // A file inside an archive is decompressed from its copy, whose name has the record's number.
  const std::string copy = std::to_string(record("src.tgz//src.tar//x.txt.gz")) + "x.txt";
  EXPECT_EQ(seenIn("innermost"), "src.tgz//src.tar//x.txt.gz//" + copy);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(Gzip, WhatCanBeDecompressedOfDamagedDataIsIndexed) {
  std::string text;
  for (int i = 0; i < 40'000; ++i) text += "word" + std::to_string(i) + ' ';
  const std::string sound = gzipped(text);
  EXPECT_TRUE(indexNew("a.txt.gz", sound.substr(0, sound.size() / 2)));
  EXPECT_EQ(seenIn("word5"), "a.txt.gz//a.txt");
  EXPECT_EQ(seenIn("word39999"), "");
  EXPECT_THAT(problems(), ElementsAre("MemberFailed a.txt.gz/a.txt"));
  const std::string small = gzipped("alpha beta gamma");
  for (size_t i = 0; i < small.size(); ++i) {
    std::string damaged = small;
    damaged[i] = static_cast<char>(damaged[i] ^ 0xFF);
    EXPECT_TRUE(indexNew("a.txt.gz", damaged));
    EXPECT_TRUE(indexNew("a.txt.gz", small.substr(0, i)));
  }
}

TEST_F(Gzip, AFileThatIsNotCompressedIsItsOwnMember) {
  EXPECT_TRUE(indexNew("a.txt.gz", "plain text "));
  EXPECT_EQ(seenIn("plain"), "a.txt.gz//a.txt");
  unlink((files() + "/a.txt.gz").c_str());
  EXPECT_FALSE(indexAgain("a.txt.gz"));
}

TEST_F(Gzip, ALimitCutsTheMemberAndKeepsItsBeginning) {
  const std::string bomb = gzipped("alpha " + std::string(20 << 20, ' ') + "omega ");
  for (const bool archiveLimit : {false, true}) {
    (archiveLimit ? index().maxArchiveBytes : index().maxMemberBytes) = 300'000;
    EXPECT_TRUE(indexNew("a.txt.gz", bomb));
    index().maxMemberBytes = 0;
    EXPECT_EQ(info("a.txt.gz//a.txt").size, 300'000U);
    EXPECT_EQ(seenIn("alpha"), "a.txt.gz//a.txt");
    EXPECT_EQ(seenIn("omega"), "");
    EXPECT_EQ(problems().back(), "LimitReached a.txt.gz/a.txt");
  }
  EXPECT_EQ(index().limitsReached, 2U);
  // A member that just fits is not cut.
  EXPECT_TRUE(indexNew("b.txt.gz", gzipped(std::string(300'000, ' '))));
  EXPECT_EQ(index().limitsReached, 2U);
}

TEST_F(Gzip, CopiesThatLieInEachOtherShareTheLimitOfAMember) {
  const auto withPadding = [](const std::string& first, size_t padding) {
    return gzipped(first + tarMember("pad.bin", std::string(padding, 'p')) + tarEnd());
  };
  const std::string inner = withPadding(tarMember("in.txt", "deep "), 500'000);
  index().maxMemberBytes = 1'000'000;
  EXPECT_TRUE(indexNew("a.tgz", withPadding(tarMember("n.tgz", inner), 400'000)));
  EXPECT_EQ(index().limitsReached, 0U);
  EXPECT_TRUE(indexNew("b.tgz", withPadding(tarMember("n.tgz", inner), 900'000)));
  EXPECT_EQ(index().limitsReached, 1U);
  EXPECT_THAT(seenIn("deep"), testing::StartsWith("b.tgz//b.tar//n.tgz//"));
  EXPECT_EQ(index().expansion.storedBytes, 0U);
}

TEST_F(Gzip, NestingEndsAtItsLimit) {
  std::string layers = gzipped("inside ");
  include({{"*.gz", "gzip"}, {"*", "gzip"}});
  for (int i = 0; i < 8; ++i) layers = gzipped(layers);
  for (const int limit : {0, 3}) {
    index().maxNesting = limit;
    const size_t before = records().size();
    EXPECT_TRUE(indexNew("a" + std::to_string(limit) + ".1.2.3.4.5.6.7.8.9", layers));
    // The file, and a member for each container that may be read.
    EXPECT_EQ(records().size() - before, 1U + static_cast<size_t>(limit) + 1);
    EXPECT_TRUE(problems().back().starts_with("LimitReached a"));
  }
  EXPECT_EQ(index().limitsReached, 2U);
  EXPECT_EQ(index().expansion.depth, 0);
}

TEST_F(Gzip, ExtractsTheWholeFileForDisplay) {
  writeFile(files() + "/a.txt.gz", gzipped("alpha"));
  EXPECT_EQ(extracted("a.txt.gz", "any.txt"), "alpha");
  unlink((files() + "/a.txt.gz").c_str());
  EXPECT_EQ(extracted("a.txt.gz", "any.txt"), "none");
}

TEST_F(Gzip, AHaltLeavesNothingBehind) {
  index().statusLevel = 2;
  index().showStatus = true;
  vSetStatusCallBack([](const char*, const char*, bool) { return false; });
  const std::string tar = tarMember("in.txt", "inner ") + tarEnd();
  EXPECT_THROW(indexNew("src.tgz", gzipped(tar)), int);
  vSetStatusCallBack(nullptr);
  EXPECT_EQ(index().expansion.depth, 0);
}

}  // namespace
}  // namespace veska::test
