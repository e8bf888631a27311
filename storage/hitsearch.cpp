// Two ways to the same answers. A query without conditions is tested word by word as the search
// moves on. Conditions look ahead, chains of them far ahead, so for them the hits of the whole text
// are settled once, in one pass from its end to its beginning: whether a word is a hit, of the query
// or of what follows one of its conditions, then depends only on what is to its right and known by
// then. All that has to be remembered is the nearest hit to the right for each condition. A query
// that is searched again and again comes to use the settled hits too.

#include "storage/hitsearch.h"

#include <bit>
#include <limits>

namespace {

constexpr size_t kBitsPerWord = 64;

void setBit(std::vector<uint64_t>& bits, size_t i) {
  bits[i / kBitsPerWord] |= uint64_t{1} << (i % kBitsPerWord);
}
bool hasBit(const std::vector<uint64_t>& bits, size_t i) {
  return (bits[i / kBitsPerWord] >> (i % kBitsPerWord) & 1) != 0;
}

// The first bit from i on, in [0, size); size when there is none.
size_t nextBit(const std::vector<uint64_t>& bits, size_t i, size_t size) {
  if (i >= size) return size;
  size_t word = i / kBitsPerWord;
  uint64_t left = bits[word] & (~uint64_t{0} << (i % kBitsPerWord));
  while (left == 0) {
    if (++word == bits.size()) return size;
    left = bits[word];
  }
  return word * kBitsPerWord + static_cast<size_t>(std::countr_zero(left));
}

// The last bit before i; size_t's maximum when there is none.
size_t bitBefore(const std::vector<uint64_t>& bits, size_t i) {
  size_t word = i / kBitsPerWord;
  uint64_t left = i % kBitsPerWord == 0 ? 0 : bits[word] & ((uint64_t{1} << (i % kBitsPerWord)) - 1);
  while (left == 0) {
    if (word == 0) return std::numeric_limits<size_t>::max();
    left = bits[--word];
  }
  return word * kBitsPerWord + kBitsPerWord - 1 - static_cast<size_t>(std::countl_zero(left));
}

// The pass from right to left. Words are numbered from the right.
class Settler {
  using Alternative = HitQuery::Alternative;

 public:
  explicit Settler(const HitQuery& query)
      : query_(query),
        alternatives_(query.alternatives()),
        nearest_(alternatives_.size(), kFar),
        restHitAt_(alternatives_.size(), nullptr),
        matchedAt_(alternatives_.size(), nullptr),
        succeeded_(alternatives_.size(), 0),
        firstSuccess_(alternatives_.size(), HitQuery::kNone),
        endsRest_(alternatives_.size(), 0) {
    for (const Alternative& alternative : alternatives_)
      if (alternative.unconditional != HitQuery::kNone) endsRest_[alternative.unconditional] = 1;
  }

  // Settles the word at `at`, of which terms match. right: the next byte to the right in the same
  // run of word bytes that may begin a word, null for none. Result: it is a hit of the query.
  bool settleWord(const char* at, const char* right, const std::vector<uint32_t>& terms) {
    bool any = false;
    for (const uint32_t term : terms) {
      for (const uint32_t i : query_.alternativesOf(term)) {
        const bool success = !alternatives_[i].conditional || conditionHolds(i, at, right);
        matchedAt_[i] = at;
        succeeded_[i] = success;
        any = any || success || endsRest_[i];
      }
    }
    if (!any) return false;
    return settleRests(at);
  }

  // All words that begin in a run are settled; the one at `word` was the leftmost.
  void endRun(const char* word) {
    if (word == lastHit_)
      for (size_t i = 0; i < alternatives_.size(); ++i)
        if (restHitAt_[i] == word) nearest_[i] = wordCount_;
    ++wordCount_;
  }

 private:
  static constexpr int64_t kFar = std::numeric_limits<int64_t>::min() / 2;

  // The word's own rest counts as the first word after it, but a hit at the very next byte does not
  // count, and ends the search.
  bool conditionHolds(uint32_t i, const char* at, const char* right) const {
    const Alternative& alternative = alternatives_[i];
    if (alternative.distance <= 0) return false;
    if (right != nullptr && restHitAt_[i] == right) return right != at + 1;
    const int64_t words = int64_t{alternative.distance} + (right == nullptr ? 1 : 0);
    return wordCount_ - nearest_[i] <= words;
  }

  // Which of the conditions' queries is the word a hit of? In each, the first alternative that
  // succeeds must stand before that query's end. Result: it is a hit of the whole query.
  bool settleRests(const char* at) {
    for (size_t i = 0; i < alternatives_.size(); ++i) {
      const Alternative& alternative = alternatives_[i];
      if (matchedAt_[i] == at && succeeded_[i]) {
        firstSuccess_[i] = alternative.place;
      } else {
        firstSuccess_[i] =
            alternative.next == HitQuery::kNone ? HitQuery::kNone : firstSuccess_[alternative.next];
      }
      if (alternative.rest == HitQuery::kNone) continue;
      if (firstSuccess_[alternative.rest] < alternative.restEnd ||
          (alternative.unconditional != HitQuery::kNone &&
           matchedAt_[alternative.unconditional] == at)) {
        restHitAt_[i] = at;
        lastHit_ = at;
      }
    }
    return firstSuccess_[query_.first()] != HitQuery::kNone;
  }

  const HitQuery& query_;
  const std::vector<Alternative>& alternatives_;
  std::vector<int64_t> nearest_;          // word number of the nearest hit of the rest
  std::vector<const char*> restHitAt_;    // last place that was a hit of the rest
  std::vector<const char*> matchedAt_;
  std::vector<char> succeeded_;
  std::vector<uint32_t> firstSuccess_;    // place of the first that succeeds from here on
  std::vector<char> endsRest_;            // has no condition in some rest
  const char* lastHit_ = nullptr;
  int64_t wordCount_ = 0;
};

}  // namespace

HitSearch::HitSearch(const WordClasses& classes, std::string_view text, std::string query,
                     int defaultDistance)
    : classes_(classes),
      begin_(text.data()),
      end_(text.data() + text.size()),
      query_(classes, std::move(query), defaultDistance),
      matcher_(query_.terms()) {}

const char* HitSearch::firstWord(const char* from) const {
  while (from != end_ && !classes_.starts(*from)) ++from;
  return from;
}

const char* HitSearch::runEnd(const char* at) const {
  while (classes_.continues(*at)) ++at;
  return at;
}

// First byte of the last word that begins before `at`, null for none.
const char* HitSearch::wordBefore(const char* at) const {
  for (;;) {
    while (at != begin_ && !classes_.continues(at[-1])) --at;
    if (at == begin_) return nullptr;
    const char* const before = at;
    while (at != begin_ && classes_.continues(at[-1])) --at;
    for (const char* word = at; word != before; ++word)
      if (classes_.starts(*word)) return word;
  }
}

bool HitSearch::isHit(const char* word) {
  const auto offset = static_cast<size_t>(word - begin_);
  if (settled_) return hasBit(hits_, offset);
  if (!query_.terms().mayBegin(*word)) return false;
  const char* const wordEnd = runEnd(word);
  bytesTested_ += static_cast<size_t>(wordEnd - word);
  matcher_.beginRun(wordEnd);
  if (query_.terms().hasAutomaton())
    for (const char* at = wordEnd; at-- != word;) matcher_.step(at);
  else
    matcher_.step(word);
  matched_.clear();
  matcher_.collect(matched_);
  return !matched_.empty();
}

const char* HitSearch::forwards(const char* start, int maxWords) {
  if (query_.first() == HitQuery::kNone || maxWords < 0) return end_;
  if (query_.hasConditions() || bytesTested_ > static_cast<size_t>(end_ - begin_)) settle();
  const char* word = firstWord(start);
  for (int tested = 0; word != end_; word = firstWord(runEnd(word))) {
    if (isHit(word)) return word;
    if (maxWords != 0) {
      if (tested++ == maxWords) return end_;
    } else if (settled_) {
      const auto size = static_cast<size_t>(end_ - begin_);
      return begin_ + nextBit(wordHits_, static_cast<size_t>(runEnd(word) - begin_), size);
    }
  }
  return end_;
}

const char* HitSearch::backwards(const char* start, int maxWords) {
  if (query_.first() == HitQuery::kNone) return nullptr;
  if (maxWords < 0) return end_;
  if (query_.hasConditions() || bytesTested_ > static_cast<size_t>(end_ - begin_)) settle();
  if (settled_ && maxWords == 0) {
    const size_t hit = bitBefore(wordHits_, static_cast<size_t>(start - begin_));
    return hit == std::numeric_limits<size_t>::max() ? nullptr : begin_ + hit;
  }
  int tested = 0;
  for (const char* word = wordBefore(start); word != nullptr; word = wordBefore(word)) {
    if (isHit(word)) return word;
    if (maxWords != 0 && tested++ == maxWords) return end_;
  }
  return nullptr;
}

void HitSearch::settle() {
  if (settled_) return;
  settled_ = true;
  const size_t words = static_cast<size_t>(end_ - begin_) / kBitsPerWord + 1;
  hits_.assign(words, 0);
  wordHits_.assign(words, 0);
  if (query_.first() == HitQuery::kNone) return;

  Settler settler(query_);
  for (const char* at = end_;;) {
    while (at != begin_ && !classes_.continues(at[-1])) --at;
    if (at == begin_) return;
    matcher_.beginRun(at);
    const char* leftmost = nullptr;
    while (at != begin_ && classes_.continues(at[-1])) {
      matcher_.step(--at);
      if (!classes_.starts(*at)) continue;
      matched_.clear();
      matcher_.collect(matched_);
      if (!matched_.empty() && settler.settleWord(at, leftmost, matched_))
        setBit(hits_, static_cast<size_t>(at - begin_));
      leftmost = at;
    }
    if (leftmost == nullptr) continue;
    const auto word = static_cast<size_t>(leftmost - begin_);
    if (hasBit(hits_, word)) setBit(wordHits_, word);
    settler.endRun(leftmost);
  }
}
