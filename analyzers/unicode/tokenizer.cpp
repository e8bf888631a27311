// The loop over ASCII does no more for a byte than its class, the folding and the hash need; other
// characters cost one look-up. Only a word that holds a complex character is normalised, as a
// whole, when it ends.

#include "analyzers/unicode/tokenizer.h"

#include <algorithm>

#include "analyzers/unicode/characters.h"
#include "api/lowercase.h"
#include "index/index.h"
#include "storage/hashentries.h"

namespace veska::unicode {
namespace {

constexpr size_t kDefaultMaxWord = 101;

uint32_t hashBytes(uint32_t hash, const unsigned char* bytes, unsigned count) {
  for (unsigned i = 0; i < count; ++i) hash = hashStep(hash, foldByte(static_cast<char>(bytes[i])));
  return hash;
}

}  // namespace

WordLengths wordLengths(const CVeskaIndex& index) {
  const auto max = static_cast<unsigned>(index.maxWordLength);
  return {static_cast<unsigned>(std::max(index.minWordLength, 0)),
          max == 0 ? kDefaultMaxWord : size_t{max} + 1};
}

void IndexingTaker::take(const char* word, size_t bytes, uint32_t hash, bool) {
  index_.indexWord(word, bytes, hash, record_);
}

Tokenizer::Tokenizer(const CVeskaIndex& index, WordLengths lengths, WordTaker& taker,
                     bool wildcards)
    : taker_(taker), lengths_(lengths) {
  for (unsigned byte = 1; byte < 0x7F; ++byte) {
    classOf_[byte] =
        static_cast<unsigned char>((index.validCharMask[byte] ? kStarts | kContinues : 0) |
                                   (index.validTrailingMask[byte] ? kContinues : 0));
    folded_[byte] = foldByte(static_cast<char>(byte));
  }
  std::fill(classOf_ + 0x80, classOf_ + 0x100, kMany);
  if (wildcards) classOf_[size_t{'*'}] = classOf_[size_t{'?'}] = kStarts | kContinues;
}

bool Tokenizer::text(std::string_view utf8) {
  const auto* at = reinterpret_cast<const unsigned char*>(utf8.data());
  const auto* const end = at + utf8.size();
  while (at != end) {
    if (length_ == 0) {
      at = cutAsciiWords(at, end);
      if (at == end) break;
    }
    if (classOf_[*at] & kMany) {
      at = cutCharacter(at, end);
    } else if (length_ != 0 && !(classOf_[*at] & kContinues)) {
      endRun();
      ++at;
    } else {
      at = cutAscii(at, end);
    }
  }
  return true;
}

bool Tokenizer::boundary(Break) {
  endRun();
  return true;
}

// Words that lie wholly in ASCII and in this text, and what separates them. Result: where that
// ends, with the beginning of a word that does not end there as the run.
const unsigned char* Tokenizer::cutAsciiWords(const unsigned char* at, const unsigned char* end) {
  while (at != end) {
    const unsigned char byteClass = classOf_[*at];
    if (!(byteClass & (kStarts | kMany))) {
      ++at;
      continue;
    }
    if (byteClass & kMany) return at;
    const unsigned char* const stop = at + std::min(kMaxBytes, static_cast<size_t>(end - at));
    unsigned char* to = run_;
    uint32_t hash = 0;
    do {
      const unsigned char c = folded_[*at++];
      hash = hashStep(hash, c);
      *to++ = c;
    } while (at != stop && (classOf_[*at] & kContinues));
    const auto length = static_cast<size_t>(to - run_);
    if (at == stop || (classOf_[*at] & kMany)) {
      length_ = length;
      hash_ = hash;
      return at;
    }
    ++at;
    if (length < lengths_.min || length > lengths_.max) continue;
    *to = 0;
    taker_.take(reinterpret_cast<char*>(run_), length, hash, false);
  }
  return at;
}

// A run of ASCII bytes that words may hold, up to their end or the end of the text.
const unsigned char* Tokenizer::cutAscii(const unsigned char* at, const unsigned char* end) {
  if (pairs_) {
    endRun();
    if (!(classOf_[*at] & kStarts)) return at + 1;
  }
  const size_t room = kMaxBytes - std::min(length_, kMaxBytes);
  const unsigned char* const stop = at + std::min(room, static_cast<size_t>(end - at));
  unsigned char* to = run_ + length_;
  uint32_t hash = hash_;
  while (at != stop && (classOf_[*at] & kContinues)) {
    const unsigned char c = folded_[*at++];
    hash = hashStep(hash, c);
    *to++ = c;
  }
  hash_ = hash;
  length_ = static_cast<size_t>(to - run_);
  if (at == end) return at;
  if (at == stop) {
    tooLong_ = true;
    while (at != end && (classOf_[*at] & kContinues)) ++at;
  } else if (!(classOf_[*at] & kMany)) {
    endRun();
    ++at;
  }
  return at;
}

// One character outside ASCII.
const unsigned char* Tokenizer::cutCharacter(const unsigned char* at, const unsigned char* end) {
  const Decoded next = decodeCharacter(at, end);
  const CharFacts facts = factsOf(next.character);
  if (facts.isWordCharacter()) {
    if (length_ != 0 || facts.is(CharFacts::kLetter)) addLetter(next.character, facts);
  } else if (!facts.is(CharFacts::kIgnored)) {
    endRun();
  }
  return at + next.bytes;
}

void Tokenizer::addLetter(char32_t original, CharFacts facts) {
  // A mark belongs to whatever it stands on.
  const bool pair = facts.is(CharFacts::kPair) || (pairs_ && facts.is(CharFacts::kMark));
  if (length_ != 0 && pair != pairs_ && facts.is(CharFacts::kLetter)) endRun();
  if (length_ == 0) pairs_ = pair;
  if (length_ >= kMaxBytes) {
    if (pairs_ && !facts.is(CharFacts::kComplex)) {
      endPairs(true);
    } else {
      tooLong_ = !pairs_;
      return;
    }
  }
  complex_ = complex_ || facts.is(CharFacts::kComplex);
  append(facts.is(CharFacts::kComplex) ? original : facts.folded());
}

void Tokenizer::append(char32_t character) {
  const unsigned bytes = encodeCharacter(character, run_ + length_);
  hash_ = hashBytes(hash_, run_ + length_, bytes);
  length_ += bytes;
  tailBytes_ += bytes - 1;
}

void Tokenizer::endRun() {
  if (length_ == 0) return;
  if (pairs_) {
    endPairs(false);
  } else if (!tooLong_) {
    endWord();
  }
  clear();
}

void Tokenizer::clear() {
  length_ = tailBytes_ = 0;
  hash_ = 0;
  complex_ = tooLong_ = pairs_ = pairGiven_ = false;
}

void Tokenizer::endWord() {
  if (complex_) {
    endComplexWord();
    return;
  }
  const size_t characters = length_ - tailBytes_;
  if (characters < lengths_.min || characters > lengths_.max) return;
  run_[length_] = 0;
  taker_.take(reinterpret_cast<char*>(run_), length_, hash_, false);
}

void Tokenizer::endComplexWord() {
  const std::u32string characters =
      foldedCharacters(std::string_view(reinterpret_cast<char*>(run_), length_));
  if (characters.size() < lengths_.min || characters.size() > lengths_.max) return;
  give(characters.data(), characters.size(), false);
}

// goesOn: the run is longer; its last character begins the next pair.
void Tokenizer::endPairs(bool goesOn) {
  const std::u32string characters =
      foldedCharacters(std::string_view(reinterpret_cast<char*>(run_), length_));
  for (size_t i = 0; i + 1 < characters.size(); ++i) give(&characters[i], 2, true);
  if (!goesOn) {
    if (characters.size() == 1 && !pairGiven_) give(characters.data(), 1, true);
    return;
  }
  clear();
  pairs_ = true;
  pairGiven_ = characters.size() > 1;
  if (!characters.empty()) append(characters.back());
}

void Tokenizer::give(const char32_t* characters, size_t count, bool isPair) {
  unsigned char small[kMaxCharacterBytes * 2 + 1] = {};
  std::string large;
  unsigned char* bytes = small;
  if (count > 2) {
    large.resize(count * kMaxCharacterBytes + 1);
    bytes = reinterpret_cast<unsigned char*>(large.data());
  }
  size_t length = 0;
  for (size_t i = 0; i < count; ++i) length += encodeCharacter(characters[i], bytes + length);
  bytes[length] = 0;
  const char* const word = reinterpret_cast<char*>(bytes);
  taker_.take(word, length, hashText(word), isPair);
}

}  // namespace veska::unicode
