#include <cmath>
#include <limits>

#include "tests/support/indextest.h"

namespace veska::test {
namespace {

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
