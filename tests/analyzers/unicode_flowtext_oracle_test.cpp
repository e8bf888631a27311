// The fast search for the end of a run against a slow one.

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string_view>

#include "analyzers/unicode/flowtext.h"

namespace veska::unicode {
namespace {

size_t slowRunEnd(std::string_view text, size_t at) {
  for (; at < text.size(); ++at) {
    const bool last = at + 1 == text.size();
    if (isFlowBlank(text[at]) && (text[at] != ' ' || last || isFlowBlank(text[at + 1]))) break;
  }
  return at;
}

TEST(FlowText, RunsEndWhereASlowSearchEndsThem) {
  constexpr unsigned kSeed = 20'261;
  std::mt19937 random(kSeed);
  constexpr std::string_view kAlphabets[] = {"ab cdefghijklmno", "abcdefghijklmnopqrstuvwx \n",
                                             "a \t\r\f", "abcdefgh \x01\x0B\x1F\x7F\x80\xFF"};
  for (int round = 0; round < 20'000; ++round) {
    const std::string_view alphabet = kAlphabets[random() % std::size(kAlphabets)];
    const size_t size = random() % 80;
    const auto bytes = std::make_unique<char[]>(size);  // sanitizers see a byte read too many
    for (size_t i = 0; i < size; ++i) bytes[i] = alphabet[random() % alphabet.size()];
    const std::string_view text(bytes.get(), size);
    const size_t at = random() % (size + 1);
    ASSERT_EQ(flowRunEnd(text, at), slowRunEnd(text, at)) << "seed " << kSeed << ": " << text;
  }
}

}  // namespace
}  // namespace veska::unicode
