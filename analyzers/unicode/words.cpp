#include "analyzers/unicode/words.h"

#include "index/index.h"

namespace veska::unicode {

bool WordScanner::starts(char32_t c) const {
  if (c < 0x7F) return index_.validCharMask[c] || isWildcard(c);
  return c >= 0x80 && factsOf(c).is(CharFacts::kLetter);
}

bool WordScanner::continues(char32_t c) const {
  if (c < 0x7F) return index_.validCharMask[c] || index_.validTrailingMask[c] || isWildcard(c);
  return c >= 0x80 && factsOf(c).isWordCharacter();
}

bool WordScanner::next(std::string_view text, size_t from, WordRun& run) const {
  while (from < text.size()) {
    if (runAt(text, from, run)) return true;
    from += decodeAt(text, from).bytes;
  }
  return false;
}

bool WordScanner::runAt(std::string_view text, size_t from, WordRun& run) const {
  if (from >= text.size()) return false;
  const Decoded first = decodeAt(text, from);
  if (!starts(first.character)) return false;
  const auto isPair = [](char32_t c) { return c >= 0x80 && factsOf(c).is(CharFacts::kPair); };
  const auto isMark = [](char32_t c) { return c >= 0x80 && factsOf(c).is(CharFacts::kMark); };
  run.begin = from;
  run.pairs = isPair(first.character);
  run.end = from + first.bytes;
  for (size_t at = run.end; at < text.size();) {
    const Decoded next = decodeAt(text, at);
    const char32_t c = next.character;
    at += next.bytes;
    if (c >= 0x80 && factsOf(c).is(CharFacts::kIgnored)) continue;
    if (!continues(c) || (isPair(c) != run.pairs && !isMark(c))) break;
    run.end = at;
  }
  return true;
}

size_t WordScanner::clusterEnd(std::string_view text, size_t from, size_t end) {
  size_t at = from + decodeAt(text, from).bytes;
  while (at < end) {
    const Decoded next = decodeAt(text, at);
    if (next.character < 0x80 ||
        !factsOf(next.character).is(CharFacts::kIgnored | CharFacts::kComplex))
      break;
    at += next.bytes;
  }
  return at;
}

}  // namespace veska::unicode
