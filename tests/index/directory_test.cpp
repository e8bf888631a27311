#include <sys/socket.h>
#include <sys/un.h>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Directory = IndexTest;

void exclude(CVeskaIndex* index, const char* pattern) {
  vidxSetExcludeCount(index, 1);
  vidxSetExcludePattern(index, 0, pattern);
}

TEST_F(Directory, RecordsFoldersByPathAndFilesByNameWithTimeAndSize) {
  document("a.txt", "alpha ", 1234);
  document("sub/b.txt", "beta gamma ", 5678);
  setTime(docs() + "/sub", 99);
  const IndexPtr index = newIndex();
  vidxSetDirectoriesRead(index.get(), 41);
  const auto top = indexDocs(index.get());
  EXPECT_EQ(vidxGetDirectoriesRead(index.get()), 43U);
  EXPECT_EQ(vidxGetFilesIndexed(index.get()), 3U) << "a folder counts, the top was added by us";
  EXPECT_EQ(vidxGetContentsIndexed(index.get()), 2U);
  EXPECT_EQ(vidxGetBytesRead(index.get()), 17);

  CFileStorage* files = vidxGetFiles(index.get());
  const auto sub = vfsLookupFile(files, (docs() + "/sub").c_str(), 0);
  const auto a = vfsLookupFile(files, "a.txt", top), b = vfsLookupFile(files, "b.txt", sub);
  ASSERT_TRUE(sub && a && b);
  const struct {
    unsigned long id, parent;
    double time;
    uint32_t size;
  } expected[] = {{sub, 0, 99, 0}, {a, top, 1234, 6}, {b, sub, 5678, 11}};
  for (const auto& e : expected) {
    void* record = vfsGetInfo(files, e.id);
    EXPECT_EQ(vfiGetFileParentID(record), e.parent);
    EXPECT_EQ(vfiGetFileTimeLastWritten(record), e.time + 2082844800.0);
    EXPECT_EQ(vfiGetFileSize(record), e.size);
    EXPECT_EQ(vfiGetFileAttributes(record), 0U);
  }
  EXPECT_EQ(wordOf(index.get(), "gamma").lastFile, b);

  // Again: no second record, but what the file now is.
  document("a.txt", "alpha beta ", 4321);
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  EXPECT_EQ(recordsOf(index.get()), (Texts{"", "a.txt", "sub", "sub/b.txt"}));
  EXPECT_EQ(vidxGetFilesIndexed(index.get()), 3U);
  EXPECT_EQ(vfiGetFileTimeLastWritten(vfsGetInfo(files, a)), 4321 + 2082844800.0);
  EXPECT_EQ(vfiGetFileSize(vfsGetInfo(files, a)), 11U);
}

// Every kind of entry in one folder, walked with the settings of each case.
TEST_F(Directory, TakesWhatTheSettingsAskFor) {
  for (const char* name :
       {"a.txt", "b.bin", ".profile", "..x", "no/c.txt", "yes/d.txt", "x.txt.no"}) {
    document(name, "word ");
  }
  document("with\nnewline \xFF.txt", "word ");
  ASSERT_EQ(symlink("a.txt", (docs() + "/link.txt").c_str()), 0);
  ASSERT_EQ(symlink("yes", (docs() + "/linked").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", (docs() + "/dangling.txt").c_str()), 0);
  ASSERT_EQ(mkfifo((docs() + "/pipe.txt").c_str(), 0600), 0);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{AF_UNIX, {}};
  (docs() + "/s.txt").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(listener);

  const Texts always = {"", "a.txt", "with\nnewline \xFF.txt", "yes", "yes/d.txt"};
  const auto with = [&](Texts more) {
    more.insert(more.end(), always.begin(), always.end());
    std::sort(more.begin(), more.end());
    return more;
  };
  const struct {
    bool trackAll;
    const char* excluded;
    Texts records;
    unsigned long contents;
  } cases[] = {
      {true, nullptr, with({"..x", ".profile", "b.bin", "no", "no/c.txt", "x.txt.no"}), 4},
      {false, nullptr, with({"no", "no/c.txt"}), 4},
      {true, "*/no", with({"..x", ".profile", "b.bin", "x.txt.no"}), 3},
      {true, "*.txt", with({"..x", ".profile", "b.bin", "no", "no/c.txt", "x.txt.no"}), 0},
      {false, "*.bin", with({"no", "no/c.txt"}), 4},
      {false, "*.txt ^ */docs/*", with({"no", "no/c.txt"}), 4},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.trackAll << " " << (c.excluded ? c.excluded : "none"));
    const IndexPtr index = newIndex();
    vidxSetTrackAll(index.get(), c.trackAll);
    if (c.excluded) exclude(index.get(), c.excluded);
    indexDocs(index.get());
    EXPECT_EQ(recordsOf(index.get()), c.records);
    EXPECT_EQ(vidxGetContentsIndexed(index.get()), c.contents);
  }
}

TEST_F(Directory, UpdatingFollowsLinksAndTakesOnlyWhatIsNew) {
  document("a.txt", "alpha ");
  document("old/b.txt", "beta ");
  document("elsewhere/c.txt", "gamma ");
  const IndexPtr index = newIndex();
  const auto top = vfsAddFile(vidxGetFiles(index.get()), docs().c_str());
  vidxNewFileLinks(index.get());
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  const unsigned long read = vidxGetDirectoriesRead(index.get());

  document("a.txt", "changed ");
  document("new.txt", "delta ");
  document("new.bin", "delta ");
  document("no.txt", "epsilon ");
  document("old/e.txt", "zeta ");
  document("fresh/deep/f.txt", "eta ");
  ASSERT_EQ(symlink("elsewhere", (docs() + "/linked").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", (docs() + "/dangling.txt").c_str()), 0);
  exclude(index.get(), "*/no.*");
  index->updateDirectory(docs().c_str(), top);
  EXPECT_EQ(
      recordsOf(index.get()),
      (Texts{"", "a.txt", "elsewhere", "elsewhere/c.txt", "fresh", "fresh/deep", "fresh/deep/f.txt",
             "linked", "linked/c.txt", "new.bin", "new.txt", "old", "old/b.txt"}))
      << "a known folder is not entered, an excluded file not recorded, a link followed";
  EXPECT_EQ(wordOf(index.get(), "changed").lastFile, 0U);
  EXPECT_NE(wordOf(index.get(), "eta").lastFile, 0U);
  EXPECT_EQ(vidxGetDirectoriesRead(index.get()) - read, 5U)
      << "fresh and linked, counted here and by their walk, and fresh/deep";

  vidxSetTrackAll(index.get(), false);
  document("late.bin", "x ");
  document("late.txt", "x ");
  index->updateDirectory(docs().c_str(), top);
  const Texts records = recordsOf(index.get());
  EXPECT_EQ(std::count(records.begin(), records.end(), "late.bin"), 0);
  EXPECT_EQ(std::count(records.begin(), records.end(), "late.txt"), 1);
}

TEST_F(Directory, ExactUpdatePassesOverLinks) {
  document("sub/a.txt", "alpha ");
  const IndexPtr index = newIndex();
  const auto top = indexDocs(index.get());
  ASSERT_EQ(symlink("..", (docs() + "/sub/parent").c_str()), 0);
  vidxSetExactUpdate(index.get(), true);
  const auto sub = vfsLookupFile(vidxGetFiles(index.get()), (docs() + "/sub").c_str(), 0);
  index->updateDirectory((docs() + "/sub").c_str(), sub);
  index->updateDirectory(docs().c_str(), top);
  EXPECT_EQ(recordsOf(index.get()), (Texts{"", "sub", "sub/a.txt"}));
}

TEST_F(Directory, OwnFolderIsTestedByExactPath) {
  document("a.txt", "alpha ");
  writeFile(config() + "/note.txt", "secret ");
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  Reports reports;
  const auto top = vfsAddFile(vidxGetFiles(index.get()), path("").c_str());
  std::string root = path("");
  root.pop_back();
  vidxIndexDirectory(index.get(), root.c_str(), top);
  EXPECT_EQ(reports.take(), Texts{"status:Skipped Veska Directory:"}) << "though status is off";
  EXPECT_NE(wordOf(index.get(), "alpha").lastFile, 0U);
  EXPECT_EQ(wordOf(index.get(), "secret").lastFile, 0U);
  EXPECT_NE(vfsLookupFile(vidxGetFiles(index.get()), config().c_str(), 0), 0U)
      << "its record is made before it is skipped";
}

// A walk of "/" that ends at its first report, so that it costs nothing.
TEST_F(Directory, RootHasNoDoubledSlash) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  vidxSetShowStatus(index.get(), true);
  Reports reports;
  reports.answer = [](const std::string&) { return false; };
  const auto root = vfsAddFile(vidxGetFiles(index.get()), "/");
  vidxIndexDirectory(index.get(), "/", root);
  const Texts lines = reports.take();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("status:IndexingFile:/") && lines[0][21] != '/') << lines[0];
  EXPECT_TRUE(lines[0].ends_with("\t1")) << lines[0];
  EXPECT_EQ(lines[1], "throw:HaltRequested:");
}

TEST_F(Directory, HaltEndsTheWalkAndKeepsWhatWasDone) {
  document("a.txt", "alpha ");
  document("sub/b.txt", "beta ");
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  Reports reports;
  reports.answer = [](const std::string&) { return false; };
  const auto top = vfsAddFile(vidxGetFiles(index.get()), docs().c_str());
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  EXPECT_EQ(reports.take(), Texts{}) << "status is off: nothing can halt";
  EXPECT_EQ(recordsOf(index.get()).size(), 4U);

  vidxSetShowStatus(index.get(), true);
  document("sub/c.txt", "gamma ");
  // The first report is granted, the second, at least a second later, is not.
  int asked = 0;
  reports.answer = [&](const std::string& key) {
    EXPECT_EQ(key, "IndexingFile");
    index->lastStatusTime = 0;
    return ++asked < 2;
  };
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  // Granting sets the time of the last report, so the second one comes only after it was reset.
  EXPECT_LE(reports.count("status:"), 2);
  index->lastStatusTime = 0;
  asked = 2;
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  EXPECT_EQ(reports.take().back(), "throw:HaltRequested:");
  index->lastStatusTime = time(nullptr) + 1000;
  vidxIndexDirectory(index.get(), docs().c_str(), top);
  EXPECT_EQ(reports.take(), Texts{}) << "a second has not gone by";
  EXPECT_NE(wordOf(index.get(), "gamma").lastFile, 0U);
}

// Entries are looked at when their turn comes, after the report that names them.
TEST_F(Directory, WhatVanishesAfterItWasListedIsPassedOver) {
  for (const char* name : {"a.txt", "b.bin", "sub/c.txt"}) document(name, "word ");
  const IndexPtr index = newIndex();
  vidxSetShowStatus(index.get(), true);
  Reports reports;
  reports.answer = [&](const std::string&) {
    std::filesystem::remove_all(docs());
    return true;
  };
  indexDocs(index.get());
  EXPECT_EQ(recordsOf(index.get()), Texts{""});
  EXPECT_EQ(vidxGetFilesIndexed(index.get()), 0U);
}

TEST_F(Directory, MissingFoldersAndDeepOnesAreNoError) {
  const IndexPtr index = newIndex();
  vidxNewFileLinks(index.get());
  Reports reports;
  vidxIndexDirectory(index.get(), path("missing").c_str(), 36);
  EXPECT_EQ(reports.count("throw:"), 0);
  EXPECT_EQ(vidxGetDirectoriesRead(index.get()), 1U) << "counted before it is opened";
  // Deeper than a path may be long.
  const std::string here = std::filesystem::current_path();
  std::filesystem::current_path(docs());
  const std::string name(200, 'd');
  for (int depth = 0; depth < 30; ++depth) {
    ASSERT_EQ(mkdir(name.c_str(), 0700), 0);
    ASSERT_EQ(chdir(name.c_str()), 0);
  }
  std::filesystem::current_path(here);
  document("a.txt", "alpha ");
  indexDocs(index.get());
  EXPECT_EQ(reports.count("throw:"), 0);
  EXPECT_NE(wordOf(index.get(), "alpha").lastFile, 0U);
  // An unlink by full path would fail as well: go down and up again.
  std::filesystem::current_path(docs());
  for (int depth = 0; depth < 30; ++depth) ASSERT_EQ(chdir(name.c_str()), 0);
  for (int depth = 0; depth < 30; ++depth) {
    ASSERT_EQ(chdir(".."), 0);
    ASSERT_EQ(rmdir(name.c_str()), 0);
  }
  std::filesystem::current_path(here);
}

}  // namespace
}  // namespace veska::test
