#include "tests/support/indextest.h"

namespace veska::test {
namespace {

constexpr double kEpoch = 2082844800.0;

class Pruning : public IndexTest {
 protected:
  // Prunes what was modified after this Unix time.
  static Texts prune(CVeskaIndex* index, time_t since) {
    Reports reports;
    vidxSetTimeBase(index, static_cast<double>(since) + kEpoch);
    vidxPrune(index);
    return reports.take();
  }
};

TEST_F(Pruning, MarksWhatVanishedAndIndexesAnewWhatChanged) {
  for (const char* name :
       {"gone.txt", "kept.txt", "same.txt", "sub/x.txt", "b.bin", "vanished/y.txt"}) {
    document(name, "before ", 1000);
  }
  setTime(docs() + "/sub", 1000);
  setTime(docs() + "/vanished", 1000);
  IndexPtr index = newIndex();
  const auto top = indexDocs(index);
  CFileStorage* files = vidxGetFiles(index);
  vidxSetContentsIndexed(index, 100);
  vidxSetFilesIndexed(index, 200);

  std::filesystem::remove(docs() + "/gone.txt");
  std::filesystem::remove_all(docs() + "/vanished");
  document("kept.txt", "after again ", 3000);
  document("same.txt", "after ", 2000);
  document("b.bin", "longer than it was", 3000);
  document("sub/new.txt", "after ", 3000);
  setTime(docs() + "/sub", 3000);
  document("unseen.txt", "after ", 3000);
  setTime(docs(), 2000);
  EXPECT_EQ(prune(index, 2000), Texts{});

  const Texts records = recordsOf(index);
  const auto has = [&](const std::string& name) {
    return std::count(records.begin(), records.end(), name);
  };
  EXPECT_EQ(has("!\xFFone.txt"), 1);
  EXPECT_EQ(has("!\xFF" + docs().substr(1) + "/vanished"), 1);
  EXPECT_EQ(has("!\377ept.txt"), 1);
  EXPECT_EQ(has("kept.txt"), 1);
  EXPECT_EQ(has("same.txt"), 1) << "its time is not later than the reference";
  EXPECT_EQ(has("sub/new.txt"), 1) << "its folder is newer";
  EXPECT_EQ(has("unseen.txt"), 0) << "its folder is not";
  EXPECT_EQ(vidxGetContentsIndexed(index), 102U) << "kept.txt once, and sub/new.txt";
  EXPECT_EQ(vidxGetFilesIndexed(index), 202U);

  const auto kept = vfsLookupFile(files, "kept.txt", top);
  EXPECT_EQ(wordOf(index, "again").lastFile, kept);
  EXPECT_EQ(vfiGetFileSize(vfsGetInfo(files, kept)), 12U);
  EXPECT_EQ(vfiGetFileTimeLastWritten(vfsGetInfo(files, kept)), 3000 + kEpoch);
  const auto bin = vfsLookupFile(files, "b.bin", top);
  EXPECT_EQ(vfiGetFileSize(vfsGetInfo(files, bin)), 18U) << "no analyzer: its record is refreshed";
  vidxCompressLinks(index);

  // Nothing more to do, and obsolete records are not visited again.
  const auto used = index->files->usedBytes();
  EXPECT_EQ(prune(index, 4000), Texts{});
  EXPECT_EQ(index->files->usedBytes(), used);
  EXPECT_EQ(recordsOf(index), records);
}

TEST_F(Pruning, TrackAllOffLeavesRecordsWithoutAnalyzerAlone) {
  document("a.txt", "before ", 1000);
  document("b.bin", "before ", 1000);
  const IndexPtr index = newIndex();
  const auto top = indexDocs(index);
  document("a.txt", "after now ", 3000);
  document("b.bin", "after now ", 3000);
  vidxSetTrackAll(index, false);
  vidxSetExcludeCount(index, 1);
  vidxSetExcludePattern(index, 0, "*/a.*");
  prune(index, 2000);
  CFileStorage* files = vidxGetFiles(index);
  for (const char* name : {"a.txt", "b.bin"}) {
    EXPECT_EQ(vfiGetFileSize(vfsGetInfo(files, vfsLookupFile(files, name, top))), 7U) << name;
  }
  EXPECT_EQ(wordOf(index, "now").lastFile, 0U);
}

TEST_F(Pruning, MembersOfFilesArePassedOver) {
  document("a.txt", "before ", 1000);
  const IndexPtr index = newIndex();
  const auto top = indexDocs(index);
  CFileStorage* files = vidxGetFiles(index);
  const auto member = vfsAddFile(files, "member");
  vfiSetFileParentID(vfsGetInfo(files, member),
                     static_cast<uint32_t>(vfsLookupFile(files, "a.txt", top)));
  prune(index, 0);
  EXPECT_STREQ(vfiGetFileName(vfsGetInfo(files, member)), "member");
}

TEST_F(Pruning, BrokenParentIsToldAndWrittenDown) {
  document("a.txt", "before ", 1000);
  const IndexPtr index = newIndex();
  const auto top = indexDocs(index);
  const auto a = vfsLookupFile(vidxGetFiles(index), "a.txt", top);
  vfiSetFileParentID(vfsGetInfo(vidxGetFiles(index), a), 0x7FFF0000);
  const std::string here = std::filesystem::current_path();
  std::filesystem::current_path(path(""));
  EXPECT_EQ(prune(index, 2000), Texts{"throw:PruneParentError:"});
  std::filesystem::current_path(here);
  char expected[200];
  std::snprintf(expected, sizeof expected, "Name a.txt\nnFile %lx\npFileInfo->m_nParent 7fff0000\n",
                a);
  EXPECT_EQ(readFile(path("deadveska.txt")).substr(0, std::string(expected).size()), expected);
}

TEST_F(Pruning, ReportsProgressAndHaltsWhenAsked) {
  document("a.txt", "before ", 1000);
  document("b.txt", "before ", 1000);
  const IndexPtr index = newIndex();
  indexDocs(index);
  vidxSetShowStatus(index, true);
  EXPECT_EQ(prune(index, 2000), Texts{"status:UpdatingStatus:1/2"}) << "then once a second";
  index->lastStatusTime = 0;
  std::filesystem::remove(docs() + "/a.txt");
  std::filesystem::remove(docs() + "/b.txt");
  Reports reports;
  reports.answer = [](const std::string&) { return false; };
  vidxPrune(index);
  EXPECT_EQ(reports.take(), (Texts{"status:UpdatingStatus:1/2", "throw:HaltRequested:"}));
  EXPECT_EQ(recordsOf(index), (Texts{"", "a.txt", "b.txt"}));
}

TEST_F(Pruning, ExactUpdateGoesByWhatTheRecordSays) {
  for (const char* name : {"older.txt", "longer.txt", "same.txt", "sub/x.txt"}) {
    document(name, "before ", 5000);
  }
  const IndexPtr index = newIndex();
  const auto top = indexDocs(index);
  vidxSetExactUpdate(index, true);
  document("older.txt", "newer11 ", 4000);      // an older time, as of a restored copy
  document("longer.txt", "muchlonger ", 5000);  // the same time, another size
  document("sub/new.txt", "inside ", 1);
  setTime(docs() + "/sub", 1);
  setTime(docs(), 1);
  ASSERT_EQ(symlink("..", (docs() + "/sub/up").c_str()), 0);
  prune(index, 9000);
  EXPECT_NE(wordOf(index, "newer11").lastFile, 0U);
  EXPECT_NE(wordOf(index, "muchlonger").lastFile, 0U);
  EXPECT_NE(wordOf(index, "inside").lastFile, 0U);
  vidxCompressLinks(index);

  const Texts records = recordsOf(index);
  const unsigned long contents = vidxGetContentsIndexed(index);
  prune(index, 0);
  EXPECT_EQ(recordsOf(index), records) << "nothing changed since";
  EXPECT_EQ(vidxGetContentsIndexed(index), contents);
  EXPECT_NE(vfsLookupFile(vidxGetFiles(index), "same.txt", top), 0U);
  vidxCompressLinks(index);

  // A file that was cut short by a halt keeps time 0 and is taken again.
  document("cut.txt", "first second third ", 5000);
  vidxSetShowStatus(index, true);
  vidxSetStatusLevel(index, 2);
  {
    Reports reports;
    reports.answer = [&](const std::string& key) {
      index->lastStatusTime = 0;
      return key != "BytesIndexing";
    };
    index->lastStatusTime = 0;
    vidxPrune(index);
  }
  vidxSetShowStatus(index, false);
  vidxCompressLinks(index);
  prune(index, 0);
  const auto cut = vfsLookupFile(vidxGetFiles(index), "cut.txt", top);
  EXPECT_EQ(wordOf(index, "third").lastFile, cut);
  EXPECT_EQ(vfiGetFileTimeLastWritten(vfsGetInfo(vidxGetFiles(index), cut)), 5000 + kEpoch);
}

}  // namespace
}  // namespace veska::test
