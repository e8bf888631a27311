// The frame that every exported function lives in: callbacks, guards, the lower-case table,
// settings.

#include <climits>
#include <cmath>
#include <limits>

#include "api/guard.h"
#include "api/lowercase.h"
#include "api/reporting.h"
#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Frame = IndexTest;

TEST_F(Frame, NothingHaltsAndErrorsStillEndWorkWithoutCallbacks) {
  EXPECT_TRUE(setStatus("Key", "detail"));
  EXPECT_TRUE(vSetStatus("Key", "detail"));
  // Hosts link to the symbol by this type.
  void (*const raise)(const char*, const std::string&) = throwVeskaError;
  EXPECT_THROW(raise("Key", "detail"), int);
  EXPECT_THROW(postWarning("Key", "detail"), int);
  EXPECT_EQ(vCreateNewIndex(false, indexPath().c_str()), nullptr);
}

TEST_F(Frame, EachReportGoesToItsOwnCallback) {
  Reports reports;
  EXPECT_EQ(raised([] { throwVeskaError("Key", "detail"); }), "Key:detail");
  EXPECT_THROW(postWarning("Warn", ""), int);
  EXPECT_TRUE(setStatus("Status", "a\tb"));
  EXPECT_TRUE(vSetStatus("Own", "text"));
  reports.answer = [](const std::string&) { return false; };
  EXPECT_FALSE(setStatus("Status", ""));
  EXPECT_FALSE(vSetStatus("Own", ""));
  EXPECT_EQ(reports.take(), (Texts{"warning:Warn:", "status:Status:a\tb", "host:Own:text",
                                   "status:Status:", "host:Own:"}));
}

TEST_F(Frame, GuardedCallsGiveTheirFailureValue) {
  const IndexPtr index = newIndex();
  Reports reports;
  index->enableWrite(false);
  EXPECT_EQ(vfsAddFile(vidxGetFiles(index), "a"), 0U);
  EXPECT_EQ(vidxGetFileContents(index, 4711, 100, 0, false, 1), nullptr);
  vidxIndexWord(index, "word", 50);
  vidxCompressLinks(index);
  vidxIndexExclusions(index);
  vidxStoreStorage(index, path("missing/").c_str());
  vidxSetIncludePattern(index, 0, "*", "nosuch");
  EXPECT_EQ(reports.count("throw:"), 6);
  EXPECT_EQ(reports.count("warning:"), 1);
  vfcDeleteContentsObject(nullptr);
  vidxClearIndex(nullptr);
}

TEST_F(Frame, RawWriteGoesToDescriptorOne) {
  const std::string file = path("out");
  const int saved = dup(1), out = ::open(file.c_str(), O_WRONLY | O_CREAT, 0600);
  dup2(out, 1);
  const int written = vRawStdoutWrite("abc\n"), empty = vRawStdoutWrite("");
  dup2(saved, 1);
  close(saved);
  close(out);
  EXPECT_EQ(written, 4);
  EXPECT_EQ(empty, 0);
  EXPECT_EQ(readFile(file), "abc\n");
}

TEST_F(Frame, LowerCaseTableFollowsItsRules) {
  for (int round = 0; round < 2; ++round) {
    for (int c = SCHAR_MIN; c <= SCHAR_MAX; ++c) {
      EXPECT_EQ(lowerCaseTable[c + 128], slowFold(static_cast<char>(c))) << c;
    }
    mapLowerCaseChars();
  }
}

TEST_F(Frame, RunningOutOfMemoryIsReportedOnce) {
  Reports reports;
  const int value = guarded(7, []() -> int { throw std::bad_alloc(); });
  EXPECT_EQ(value, 7);
  EXPECT_EQ(reports.take(), Texts{"throw:NoMemory:"});
}

using Settings = IndexTest;

// Fields that nothing in the engine reads yet, and what clearing does to all.
TEST_F(Settings, ReachTheirFieldsUntilTheyAreCleared) {
  const IndexPtr index = newIndex();
  CVeskaIndex* i = index;
  vidxSetMaxWordLength(i, 5);
  vidxSetUseRanking(i, false);
  vidxSetTrackAll(i, false);
  vidxSetIsUpdate(i, true);
  vidxSetNumberHandling(i, 3);
  vidxSetInternationalChar(i, 4);
  vidxSetSavePassword(i, true);
  EXPECT_TRUE(i->isUpdate && i->savePassword);
  EXPECT_EQ(i->numberHandling, 3);
  EXPECT_EQ(i->internationalChar, 4);
  i->clear();
  EXPECT_TRUE(i->useRanking && i->trackAll && !i->isUpdate);
  EXPECT_EQ(i->minWordLength + i->maxWordLength + i->numberHandling, 19);
  EXPECT_EQ(i->words, nullptr);
}

TEST_F(Settings, CountersGoOnFromWhereTheHostSetThem) {
  const IndexPtr index = newIndex();
  vidxSetFilesIndexed(index, 10);
  vidxSetContentsIndexed(index, 20);
  vidxSetWordsIndexed(index, 30);
  vidxSetBytesRead(index, 1e15);
  document("a.txt", "alpha ");
  indexDocs(index);
  EXPECT_EQ(vidxGetFilesIndexed(index), 11U);
  EXPECT_EQ(vidxGetContentsIndexed(index), 21U);
  EXPECT_EQ(vidxGetWordsIndexed(index), 31U);
  EXPECT_EQ(vidxGetBytesRead(index), 1e15 + 6);
}

TEST_F(Settings, TimesCrossTheInterfaceInSecondsSince1904) {
  const IndexPtr index = newIndex();
  constexpr double kEpoch = 2082844800.0;
  CFileStorage* files = vidxGetFiles(index);
  const auto id = vfsAddFile(files, "a");
  void* record = vfsGetInfo(files, id);
  EXPECT_EQ(vfiGetFileTimeLastWritten(record), kEpoch) << "a time of 0";
  const std::pair<double, double> times[] = {
      {kEpoch + 10.9, kEpoch + 10},
      {kEpoch - 10.9, kEpoch - 10},
      {kEpoch, kEpoch},
      {kEpoch - 0.5, kEpoch},
      {0, 0},
      {1e300, kEpoch + 2147483647.0},
      {-1e300, kEpoch - 2147483648.0},
      {std::numeric_limits<double>::infinity(), kEpoch + 2147483647.0}};
  for (const auto& [in, out] : times) {
    vfiSetFileTimeLastWritten(record, in);
    EXPECT_EQ(vfiGetFileTimeLastWritten(record), out) << in;
  }
  vfiSetFileTimeLastWritten(record, std::nan(""));
  vfiMarkFileObsolete(record);
  EXPECT_STREQ(vfiGetFileName(record), "\xFF");
  vidxSetTimeBase(index, kEpoch);
  EXPECT_EQ(index->timeBase, 0);
  vidxSetTimeBase(index, kEpoch - 7.5);
  EXPECT_EQ(index->timeBase, -7);
  for (const double wild : {1e300, -1e300, std::nan("")}) vidxSetTimeBase(index, wild);
}

}  // namespace
}  // namespace veska::test
