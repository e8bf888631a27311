#include "host/errors.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "host/progress.h"

namespace veska {
namespace {

TEST(Errors, EveryReportKeyIsASentenceWithARemedy) {
  for (const char* key :
       {"StorageReadError", "AssertionFailed", "NoFileContentsForDir", "ArchivesNestedTooDeep",
        "ArchiveExtractError", "CannotOpenContentsFile", "NoMemory", "PruneParentError",
        "SkipOpenFail", "UnmapFail", "FileMapWriteFail", "GetHugeSpace", "MemFileOpenFail",
        "MemFileExtendFail", "FileMapOpenRWFail", "AnalyzerNotFound",
        "externalAnalyzersFileTooBig"}) {
    for (const char* detail : {"", "DETAIL"}) {
      const HostError error = errorOf({key, detail});
      EXPECT_EQ(error.sentence().find(key), std::string_view::npos) << error.sentence();
      EXPECT_EQ(error.sentence().find('%'), std::string_view::npos) << error.sentence();
      EXPECT_FALSE(error.remedy().empty()) << key;
      EXPECT_EQ(error.exitStatus(), kExitError);
    }
    EXPECT_NE(errorOf({key, "DETAIL"}).sentence().find("DETAIL"), std::string_view::npos) << key;
  }
  for (const char* key :
       {"OpenFailed", "ReadFailed", "FolderUnreadable", "PathTooLong", "MemberFailed",
        "LimitReached", "ConverterFailed", "PasswordNeeded", "Damaged"}) {
    EXPECT_FALSE(problemText(key, 0).remedy.empty()) << key;
  }
  const ProblemText full = problemText("MemberFailed", ENOSPC);
  EXPECT_EQ(full.sentence, "cannot be taken out of its archive: No space left on device");
  EXPECT_EQ(full.remedy, "make room on the disk and run the command again");
}

TEST(Errors, UnknownKeyIsToldAsItCame) {
  EXPECT_EQ(errorOf({"NewKey", "x"}).sentence(), "the engine reports NewKey (x)");
  EXPECT_EQ(errorOf({"HaltRequested", ""}).exitStatus(), kExitInterrupted);
}

TEST(Progress, NumbersAreGrouped) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(1234567), "1,234,567");
  EXPECT_EQ(sizeText(999), "999 bytes");
  EXPECT_EQ(sizeText(1000), "1.0 kB");
  EXPECT_EQ(sizeText(999'960), "1.0 MB");
  EXPECT_EQ(sizeText(2.5e15), "2500.0 TB");
}

TEST(Progress, PathsAreCutToTheWidthAndHoldNoControls) {
  EXPECT_EQ(pathToFit("/home/x", 7), "/home/x");
  EXPECT_EQ(pathToFit("/home/xy", 7), "...e/xy");
  EXPECT_EQ(pathToFit("/home/\xC3\xA9\xC3\xA9", 7), "...e/\xC3\xA9\xC3\xA9");
  EXPECT_EQ(pathToFit("a\x1B[2Jb\n\xFF\x7F\xC2\x9B", 20), "a?[2Jb????");
  EXPECT_EQ(pathToFit("abcdef", 3), "");
}

}  // namespace
}  // namespace veska
