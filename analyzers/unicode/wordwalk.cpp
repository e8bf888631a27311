// Words of ASCII alone, most of what there is, are folded in one loop; a run that holds more is
// left to the scanner.

#include "analyzers/unicode/wordwalk.h"

#include <algorithm>

#include "api/lowercase.h"
#include "index/index.h"

namespace veska::unicode {

WordWalk::WordWalk(const CVeskaIndex& index, std::string_view text, bool wildcards)
    : text_(text), scanner_(index, wildcards) {
  for (unsigned byte = 1; byte < 0x7F; ++byte) {
    classOf_[byte] = static_cast<unsigned char>((scanner_.starts(byte) ? kStarts : 0) |
                                                (scanner_.continues(byte) ? kContinues : 0));
    folded_[byte] = foldByte(static_cast<char>(byte));
  }
  std::fill(classOf_ + 0x80, classOf_ + 0x100, kMany);
}

void WordWalk::run(VeskaWordCallBack use, void* context) {
  use_ = use;
  context_ = context;
  for (size_t at = 0; at < text_.size();) {
    const unsigned char kind = classOf_[static_cast<unsigned char>(text_[at])];
    if (kind & kStarts) {
      at = asciiWord(at);
    } else if (kind & kMany) {
      at = otherRun(at);
    } else {
      ++at;
    }
  }
}

size_t WordWalk::asciiWord(size_t begin) {
  size_t length = 0;
  size_t at = begin;
  for (; at < text_.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text_[at]);
    const unsigned char kind = classOf_[byte];
    if (kind & kMany) return otherRun(begin);
    if (!(kind & kContinues)) break;
    if (length < kMaxBytes) word_[length] = static_cast<char>(folded_[byte]);
    ++length;
  }
  if (length > kMaxBytes) return at;
  word_[length] = '\0';
  use_(context_, word_, begin, at, VESKA_WORD);
  return at;
}

// Result: the end of the run that begins here, or of the character when none does.
size_t WordWalk::otherRun(size_t begin) {
  WordRun run;
  if (!scanner_.runAt(text_, begin, run)) return begin + decodeAt(text_, begin).bytes;
  if (run.pairs) {
    pairsOf(run);
  } else if (foldSimple(run)) {
    use_(context_, word_, run.begin, run.end, VESKA_WORD);
  } else {
    wordOf(run);
  }
  return run.end;
}

// Folds the run character by character into word_. Result: false when it is to be normalised as a
// whole, or is too long.
bool WordWalk::foldSimple(const WordRun& run) {
  size_t length = 0;
  for (size_t at = run.begin; at < run.end && length < kMaxBytes;) {
    const Decoded next = decodeAt(text_, at);
    at += next.bytes;
    if (next.character < 0x80) {
      word_[length++] = static_cast<char>(folded_[next.character]);
      continue;
    }
    const CharFacts facts = factsOf(next.character);
    if (facts.is(CharFacts::kComplex)) return false;
    if (facts.is(CharFacts::kIgnored)) continue;
    length += encodeCharacter(facts.folded(), reinterpret_cast<unsigned char*>(word_) + length);
  }
  word_[length] = '\0';
  return length < kMaxBytes;
}

void WordWalk::wordOf(const WordRun& run) {
  if (run.end - run.begin > kMaxBytes) return;
  const std::string word = foldedText(text_.substr(run.begin, run.end - run.begin));
  if (!word.empty()) use_(context_, word.c_str(), run.begin, run.end, VESKA_WORD);
}

// Each character with the one behind it; one that is alone by itself.
void WordWalk::pairsOf(const WordRun& run) {
  std::u32string pair;
  size_t pairBegin = run.begin;
  bool any = false;
  for (size_t at = run.begin; at < run.end;) {
    const size_t end = WordScanner::clusterEnd(text_, at, run.end);
    for (const char32_t character : charactersOf(at, end)) {
      pair += character;
      if (pair.size() == 2) {
        give(pair, pairBegin, end, VESKA_PAIR);
        pair.erase(0, 1);
        any = true;
      }
      pairBegin = at;
    }
    at = end;
  }
  if (!any && pair.size() == 1) give(pair, pairBegin, run.end, VESKA_SINGLE);
}

std::u32string WordWalk::charactersOf(size_t begin, size_t end) const {
  const Decoded first = decodeAt(text_, begin);
  const CharFacts facts = factsOf(first.character);
  const bool simple = begin + first.bytes == end && !facts.is(CharFacts::kComplex);
  if (simple) return std::u32string(1, facts.folded());
  return foldedCharacters(text_.substr(begin, end - begin));
}

void WordWalk::give(std::u32string_view characters, size_t begin, size_t end, int shape) {
  size_t length = 0;
  for (const char32_t character : characters) {
    length += encodeCharacter(character, reinterpret_cast<unsigned char*>(word_) + length);
  }
  word_[length] = '\0';
  use_(context_, word_, begin, end, shape);
}

}  // namespace veska::unicode
