#include "cli/suggest.h"

#include <gtest/gtest.h>

namespace veska {
namespace {

TEST(Suggest, OnlyWhatIsNearIsSuggested) {
  const std::vector<std::string> words{"search", "show", "status", "update"};
  EXPECT_EQ(nearest("serch", words), "search");
  EXPECT_EQ(editDistance("shwo", "show"), 1u) << "neighbours that changed places count once";
  EXPECT_EQ(editDistance("stats", "status"), 1u);
  EXPECT_EQ(editDistance("abc", ""), 3u);
  EXPECT_EQ(nearest("shwo", words), "show");
  EXPECT_EQ(nearest("stat", words), "status");
  EXPECT_EQ(nearest("delete", words), "");
  EXPECT_EQ(nearest("", words), "");
  EXPECT_EQ(nearest(std::string(100'000, 's'), words), "");
}

}  // namespace
}  // namespace veska
