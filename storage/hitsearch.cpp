// Two ways to the same answers. A query without conditions is tested word by word as the search
// moves on. Conditions look ahead, chains of them far ahead, so for them the hits of the whole text
// are settled once, in one pass from its end to its beginning: whether a word is a hit, of the
// query or of what follows one of its conditions, then depends only on what is to its right and
// known by then. All that has to be remembered is the nearest hit to the right for each condition.
// A query that is searched again and again comes to use the settled hits too.

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
  uint64_t left =
      i % kBitsPerWord == 0 ? 0 : bits[word] & ((uint64_t{1} << (i % kBitsPerWord)) - 1);
  while (left == 0) {
    if (word == 0) return std::numeric_limits<size_t>::max();
    left = bits[--word];
  }
  return word * kBitsPerWord + kBitsPerWord - 1 - static_cast<size_t>(std::countl_zero(left));
}

// The pass from right to left.
class Settler {
 public:
  explicit Settler(const HitQuery& query)
      : query_(query), alternatives_(query.alternatives()), states_(alternatives_.size()) {
    for (const Alternative& alternative : alternatives_)
      if (alternative.unconditional != HitQuery::kNone)
        states_[alternative.unconditional].endsRest = true;
  }

  // Settles the word at `at`, of which terms match. right: the next place to the right in the same
  // run of word bytes where a word may begin, kNowhere for none. leftmost: no word begins to the
  // left of this one in the run. Result: it is a hit of the query.
  bool settleWord(uint32_t at, uint32_t right, bool leftmost, const std::vector<uint32_t>& terms) {
    const bool restFollows = right != kNowhere;
    const bool restIsHit = restFollows && lastHit_ == right;
    const bool repeatsHits = steadySince_ != kNowhere;
    if (steady_ && (leftmost || !repeatsHits) && !restIsHit && restFollows == steadyRestFollows_ &&
        terms == steadyTerms_) {
      repeated_ = leftmost;
      return steadyHit_;
    }
    leaveSteadiness();
    const bool hit = matchTerms(at, right, terms) && settleRests(at);
    if ((leftmost || lastHit_ != at) && !restIsHit && isSteady(at, terms)) {
      steady_ = true;
      steadyRestFollows_ = restFollows;
      steadyHit_ = hit;
      steadyTerms_ = terms;
    }
    return hit;
  }

  // All words that begin in a run are settled; the leftmost begins at `word`.
  void endRun(uint32_t word) {
    if (!repeated_ && word != lastHit_ && steadySince_ != kNowhere) leaveSteadiness();
    ++wordCount_;
    if (!repeated_ && word == lastHit_) {
      for (State& state : states_)
        if (state.restHitAt == word) state.nearest = wordCount_;
      steadySince_ = word;
    }
    repeated_ = false;
  }

  static constexpr uint32_t kNowhere = HitQuery::kNone;

 private:
  using Alternative = HitQuery::Alternative;

  struct State {
    uint32_t nearest = 0;              // number of the nearest word that is a hit of the rest
    uint32_t restHitAt = kNowhere;     // last place that was a hit of the rest
    uint32_t matchedAt = kNowhere;     // last place where a term of the alternative matched
    uint32_t firstSuccess = kNowhere;  // place of the first alternative that succeeds from here on
    bool succeeded = false;            // where it matched last
    bool endsRest = false;             // has no condition in some rest
  };

  // The word's own rest counts as the first word after it, but a hit at the very next byte does not
  // count, and ends the search.
  bool conditionHolds(const Alternative& alternative, const State& state, uint32_t at,
                      uint32_t right) const {
    if (alternative.distance <= 0) return false;
    if (right != kNowhere && state.restHitAt == right) return right != at + 1;
    if (state.nearest == 0) return false;
    const uint32_t words =
        static_cast<uint32_t>(alternative.distance) + (right == kNowhere ? 1 : 0);
    return wordCount_ + 1 - state.nearest <= words;
  }

  // Result: some alternative that a term is in may make the word a hit of something.
  bool matchTerms(uint32_t at, uint32_t right, const std::vector<uint32_t>& terms) {
    bool any = false;
    for (const uint32_t term : terms) {
      for (const uint32_t i : query_.alternativesOf(term)) {
        State& state = states_[i];
        state.matchedAt = at;
        state.succeeded =
            !alternatives_[i].conditional || conditionHolds(alternatives_[i], state, at, right);
        any = any || state.succeeded || state.endsRest;
      }
    }
    return any;
  }

  // Which of the conditions' queries is the word a hit of? In each, the first alternative that
  // succeeds must stand before that query's end. Result: it is a hit of the whole query.
  bool settleRests(uint32_t at) {
    for (size_t i = 0; i < states_.size(); ++i) {
      const Alternative& alternative = alternatives_[i];
      State& state = states_[i];
      if (state.matchedAt == at && state.succeeded) {
        state.firstSuccess = alternative.place;
      } else {
        state.firstSuccess =
            alternative.next == HitQuery::kNone ? kNowhere : states_[alternative.next].firstSuccess;
      }
      if (alternative.rest == HitQuery::kNone) continue;
      if (states_[alternative.rest].firstSuccess < alternative.restEnd ||
          (alternative.unconditional != HitQuery::kNone &&
           states_[alternative.unconditional].matchedAt == at)) {
        state.restHitAt = at;
        lastHit_ = at;
      }
    }
    return states_[query_.first()].firstSuccess != kNowhere;
  }

  // Text in which many words are alike is hostile to long chains of conditions. When a word was a
  // hit of just those rests whose conditions held at it, then the next word, if the same terms
  // match it, is a hit of just the same, and so are all that follow it: nothing has to be worked
  // out. When it was a hit of none, that goes for what is left of words too.
  bool isSteady(uint32_t at, const std::vector<uint32_t>& terms) const {
    for (const uint32_t term : terms) {
      for (const uint32_t i : query_.alternativesOf(term)) {
        if (alternatives_[i].conditional && states_[i].succeeded != (states_[i].restHitAt == at))
          return false;
      }
    }
    return true;
  }

  // Makes up for the words that were passed over.
  void leaveSteadiness() {
    if (steady_ && steadySince_ != kNowhere) {
      for (State& state : states_)
        if (state.restHitAt == steadySince_) state.nearest = wordCount_;
    }
    steady_ = false;
    steadySince_ = kNowhere;
  }

  const HitQuery& query_;
  const std::vector<Alternative>& alternatives_;
  std::vector<State> states_;
  uint32_t lastHit_ = kNowhere;
  uint32_t wordCount_ = 0;

  bool steady_ = false;
  bool steadyRestFollows_ = false;
  bool steadyHit_ = false;
  std::vector<uint32_t> steadyTerms_;
  uint32_t steadySince_ =
      kNowhere;  // the word of which the others repeat the hits; none without hits
  bool repeated_ = false;
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
  while (skipToRun(at)) {
    const char* const before = at;
    while (at != begin_ && classes_.continues(at[-1])) --at;
    for (const char* word = at; word != before; ++word)
      if (classes_.starts(*word)) return word;
  }
  return nullptr;
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
  const char* at = end_;
  while (skipToRun(at)) {
    matcher_.beginRun(at);
    uint32_t leftmost = Settler::kNowhere;
    while (at != begin_ && classes_.continues(at[-1])) {
      matcher_.step(--at);
      if (!classes_.starts(*at)) continue;
      const auto place = static_cast<uint32_t>(at - begin_);
      matched_.clear();
      matcher_.collect(matched_);
      const bool runBegins = at == begin_ || !classes_.continues(at[-1]);
      if (!matched_.empty() && settler.settleWord(place, leftmost, runBegins, matched_))
        setBit(hits_, place);
      leftmost = place;
    }
    if (leftmost == Settler::kNowhere) continue;
    if (hasBit(hits_, leftmost)) setBit(wordHits_, leftmost);
    settler.endRun(leftmost);
  }
}

// Moves at to the end of the last run of word bytes before it. Result: false when there is none.
bool HitSearch::skipToRun(const char*& at) const {
  while (at != begin_ && !classes_.continues(at[-1])) --at;
  return at != begin_;
}
