// The frame that every exported function lives in: callbacks, guards, the lower-case table.

#include <climits>

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
  EXPECT_EQ(vfsAddFile(vidxGetFiles(index.get()), "a"), 0U);
  EXPECT_EQ(vidxGetFileContents(index.get(), 4711, 100, 0, false, 1), nullptr);
  vidxIndexWord(index.get(), "word", 50);
  vidxCompressLinks(index.get());
  vidxIndexExclusions(index.get());
  vidxStoreStorage(index.get(), path("missing/").c_str());
  vidxSetIncludePattern(index.get(), 0, "*", "nosuch");
  EXPECT_EQ(reports.count("throw:"), 6);
  EXPECT_EQ(reports.count("warning:"), 1);
  vfcDeleteContentsObject(nullptr);
  vidxClearIndex(nullptr);
}

TEST_F(Frame, UnguardedCallsLetTheErrorPass) {
  {
    const IndexPtr index = newIndex();
    vidxNewFileLinks(index.get());
    vidxStoreStorage(index.get(), indexPath().c_str());
  }
  std::string links = table("links");
  const IndexPtr index = reopen();
  EXPECT_EQ(raised([&] { vflGetNextList(vidxGetLinks(index.get()), 0xFFFFFFFF); }),
            "AssertionFailed:");
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

}  // namespace
}  // namespace veska::test
