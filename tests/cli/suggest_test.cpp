#include "cli/suggest.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace veska {
namespace {

// The definition, without a table.
size_t slowDistance(std::string_view a, std::string_view b) {
  if (a.empty() || b.empty()) return a.size() + b.size();
  const bool same = a.back() == b.back();
  const std::string_view a1 = a.substr(0, a.size() - 1);
  const std::string_view b1 = b.substr(0, b.size() - 1);
  size_t least = std::min(
      {slowDistance(a1, b) + 1, slowDistance(a, b1) + 1, slowDistance(a1, b1) + (same ? 0 : 1)});
  if (!a1.empty() && !b1.empty() && a.back() == b1.back() && a1.back() == b.back()) {
    const std::string_view a2 = a1.substr(0, a1.size() - 1);
    least = std::min(least, slowDistance(a2, b1.substr(0, b1.size() - 1)) + 1);
  }
  return least;
}

TEST(Suggest, DistanceIsThatOfTheDefinition) {
  const std::vector<std::string> words{"",    "a",    "ab",   "ba",   "abc",  "acb",
                                       "cab", "aabb", "abab", "bbaa", "abcab"};
  for (const std::string& a : words) {
    for (const std::string& b : words) EXPECT_EQ(editDistance(a, b), slowDistance(a, b)) << a << b;
  }
}

TEST(Suggest, OnlyWhatIsNearIsSuggested) {
  const std::vector<std::string> words{"search", "show", "status", "update"};
  EXPECT_EQ(nearest("serch", words), "search");
  EXPECT_EQ(nearest("shwo", words), "show");
  EXPECT_EQ(nearest("stat", words), "status");
  EXPECT_EQ(nearest("delete", words), "");
  EXPECT_EQ(nearest("", words), "");
  EXPECT_EQ(nearest(std::string(100'000, 's'), words), "");
}

}  // namespace
}  // namespace veska
