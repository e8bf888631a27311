#include "tests/support/indextest.h"

namespace veska::test {
namespace {

using Patterns = IndexTest;

TEST_F(Patterns, FirstMatchingSlotDecidesEvenWithoutAnAnalyzer) {
  const IndexPtr index = newIndex();
  EXPECT_EQ(index->analyzerThatMatches("/d/a.doc"), nullptr);
  vidxSetIncludeCount(index.get(), 4);
  Reports reports;
  vidxSetIncludePattern(index.get(), 0, "*.DOC", "nosuch");
  EXPECT_EQ(reports.take(), Texts{"warning:AnalyzerNotFound:nosuch"});
  vidxSetIncludePattern(index.get(), 1, "*.do?", "macroman");
  vidxSetIncludePattern(index.get(), 2, "*.txt|*.asc", nullptr);
  vidxSetIncludePattern(index.get(), 3, "*", "");
  vidxSetIncludePattern(index.get(), 4, "*.doc", "dosoem");
  vidxSetIncludePattern(index.get(), -1, "*.doc", "dosoem");
  EXPECT_EQ(reports.take(), Texts{});

  CFileAnalyzer* generic = index->analyzerNamed("generic");
  EXPECT_NE(generic, nullptr);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.doc"), nullptr) << "the pattern is in force";
  EXPECT_EQ(index->analyzerThatMatches("/d/a.dot"), index->analyzerNamed("macroman"));
  EXPECT_EQ(index->analyzerThatMatches("/d/a.txt"), generic);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.asc"), generic);
  EXPECT_EQ(index->analyzerNamed("Generic"), nullptr);

  // The analyzer that a slot had before stays when the new name is unknown.
  vidxSetIncludePattern(index.get(), 1, "*.xyz", "nosuch");
  EXPECT_EQ(index->analyzerThatMatches("/d/a.xyz"), index->analyzerNamed("macroman"));
  EXPECT_STREQ(index->includePatterns[1], "*.xyz");
  EXPECT_EQ(index->includePatterns[4], nullptr);

  vidxSetIncludeCount(index.get(), 0);
  EXPECT_EQ(index->includePatterns, nullptr);
  EXPECT_EQ(index->analyzerThatMatches("/d/a.txt"), nullptr);
}

TEST_F(Patterns, ExcludePatternsAreWholePatterns) {
  const IndexPtr index = newIndex();
  EXPECT_FALSE(index->isExcluded("/d/a.txt"));
  vidxSetExcludeCount(index.get(), 2);
  EXPECT_FALSE(index->isExcluded("/d/a.txt")) << "empty slots end the list";
  vidxSetExcludePattern(index.get(), 0, "*.txt ^ */old/*");
  vidxSetExcludePattern(index.get(), 1, "*/cache|*/tmp");
  vidxSetExcludePattern(index.get(), 2, "*");
  EXPECT_TRUE(index->isExcluded("/d/a.txt"));
  EXPECT_FALSE(index->isExcluded("/d/old/a.txt"));
  EXPECT_TRUE(index->isExcluded("/d/CACHE"));
  EXPECT_TRUE(index->isExcluded("/d/cached")) << "a term before an operator is a prefix";
  EXPECT_FALSE(index->isExcluded("/d/tmpfile"));
  vidxSetExcludeCount(index.get(), 0);
  EXPECT_FALSE(index->isExcluded("/d/a.txt"));
  vidxSetExcludeCount(index.get(), 1);
  vidxSetExcludePattern(index.get(), 0, "*x");
  vidxSetExcludePattern(index.get(), 0, "*y");
  vidxSetExcludePattern(index.get(), 0, index->excludePatterns[0]);
  EXPECT_TRUE(index->isExcluded("y"));
  EXPECT_FALSE(index->isExcluded("x"));
}

}  // namespace
}  // namespace veska::test
