#include "host/query.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/encoding.h"

namespace veska {

bool Query::needsText() const {
  return std::any_of(leaves.begin(), leaves.end(),
                     [](const QueryLeaf& leaf) { return leaf.needsText(); });
}

std::vector<bool> Query::positiveWords() const {
  std::vector<bool> positive(words.size(), false);
  for (const QueryLeaf& leaf : leaves) {
    for (const uint32_t word : leaf.words) {
      if (!leaf.negated) positive[word] = true;
    }
  }
  return positive;
}

bool Query::onlyExcludes() const {
  std::vector<bool> excludes;
  for (const QueryStep& step : program) {
    if (step.op == QueryStep::Op::kLeaf) {
      excludes.push_back(false);
    } else if (step.op == QueryStep::Op::kNot) {
      excludes.back() = !excludes.back();
    } else {
      const bool right = excludes.back();
      excludes.pop_back();
      const bool left = excludes.back();
      excludes.back() = step.op == QueryStep::Op::kAnd ? left && right : left || right;
    }
  }
  return excludes.back();
}

std::string explain(const QueryError& error, std::string_view text) {
  constexpr size_t kAround = 50;
  const auto onCharacter = [text](size_t at) {
    while (at > 0 && at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0) == 0x80) {
      --at;
    }
    return at;
  };
  const size_t at = std::min(error.at, text.size());
  const size_t begin = onCharacter(at > kAround ? at - kAround : 0);
  const size_t end = onCharacter(std::min(text.size(), at + kAround));
  std::string excerpt = toUtf8(text.substr(begin, end - begin));
  for (char& byte : excerpt) {
    if (static_cast<unsigned char>(byte) < ' ' || byte == 0x7F) byte = ' ';
  }
  const size_t column = columnCount(toUtf8(text.substr(begin, at - begin)));
  const std::string_view cut = begin > 0 ? "..." : "";
  return fmt::format("{}\n{}{}{}\n{:>{}}", error.message, cut, excerpt,
                     end < text.size() ? "..." : "", '^', cut.size() + column + 1);
}

}  // namespace veska
