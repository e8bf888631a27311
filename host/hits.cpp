// Phrases are found by a bit-parallel scan (Baeza-Yates and Gonnet, "A New Approach to Text
// Searching", 1992): bit i of the state says that the last i + 1 words of the text match the first
// i + 1 of the phrase. A long phrase of one word repeated then costs no more than any other.
#include "host/hits.h"

#include <algorithm>
#include <string>

#include "host/encoding.h"

namespace veska {
namespace {

constexpr size_t kLongestWord = 255;
constexpr size_t kHitsInPart = size_t{1} << 16;

class PhraseScan {
 public:
  // Of the leaf's words, those of one side: `count` from the word `from` on.
  PhraseScan(const QueryLeaf& leaf, size_t from, size_t count, size_t queryWords)
      : count_(count),
        blocks_((count + 63) / 64),
        masks_(queryWords * blocks_, 0),
        glued_(blocks_, 0) {
    for (size_t i = 0; i < count; ++i) {
      const uint64_t bit = uint64_t{1} << (i % 64);
      masks_[leaf.words[from + i] * blocks_ + i / 64] |= bit;
      if (!leaf.glued.empty() && leaf.glued[from + i]) glued_[i / 64] |= bit;
    }
  }

  // The ordinals of the first words of all occurrences, ascending.
  std::vector<uint32_t> starts(const std::vector<WordHit>& hits) const {
    std::vector<uint32_t> found;
    std::vector<uint64_t> state(blocks_, 0);
    std::vector<uint64_t> mask(blocks_, 0);
    uint32_t expected = 0;
    size_t lastEnd = 0;
    for (size_t at = 0; at < hits.size();) {
      const uint32_t ordinal = hits[at].ordinal;
      if (ordinal != expected) std::fill(state.begin(), state.end(), 0);
      expected = ordinal + 1;
      std::fill(mask.begin(), mask.end(), 0);
      const bool overlaps = hits[at].offset < lastEnd;
      lastEnd = hits[at].offset + hits[at].length;
      for (; at < hits.size() && hits[at].ordinal == ordinal; ++at) {
        for (size_t i = 0; i < blocks_; ++i) mask[i] |= masks_[hits[at].word * blocks_ + i];
      }
      uint64_t carry = 1;
      for (size_t i = 0; i < blocks_; ++i) {
        const uint64_t out = state[i] >> 63;
        state[i] = ((state[i] << 1) | carry) & mask[i];
        if (!overlaps) state[i] &= ~glued_[i];
        carry = out;
      }
      const size_t last = count_ - 1;
      if ((state[last / 64] >> (last % 64)) & 1) {
        found.push_back(ordinal - static_cast<uint32_t>(last));
      }
    }
    return found;
  }

 private:
  size_t count_;
  size_t blocks_;
  std::vector<uint64_t> masks_;  // for each word of the query: where in the phrase it stands
  std::vector<uint64_t> glued_;  // which words of the phrase overlap the one before
};

// An occurrence of a leaf: runs of words that belong to it.
struct Run {
  uint32_t first;
  uint32_t count;
};

// Calls visit(left start, right start) for the nearest partners of each left occurrence, until it
// answers false.
template <typename Visit>
void forEachNearPair(const std::vector<uint32_t>& left, uint32_t leftCount,
                     const std::vector<uint32_t>& right, uint32_t rightCount, uint32_t distance,
                     Visit&& visit) {
  for (const uint32_t start : left) {
    const uint32_t last = start + leftCount - 1;
    const auto after = std::upper_bound(right.begin(), right.end(), last);
    if (after != right.end() && *after - last <= distance && !visit(start, *after)) return;
    // The nearest one that ends before `start`.
    auto before = std::lower_bound(right.begin(), right.end(), start);
    while (before != right.begin()) {
      --before;
      const uint32_t end = *before + rightCount - 1;
      if (end >= start) continue;
      if (start - end <= distance && !visit(start, *before)) return;
      break;
    }
  }
}

std::vector<Run> runsOf(const QueryLeaf& leaf, const std::vector<WordHit>& hits, size_t queryWords,
                        bool firstOnly) {
  std::vector<Run> runs;
  const auto scan = [&](size_t from, size_t count) {
    return PhraseScan(leaf, from, count, queryWords).starts(hits);
  };
  if (leaf.kind != QueryLeaf::Kind::kNear) {
    for (const uint32_t start : scan(0, leaf.words.size())) {
      runs.push_back({start, static_cast<uint32_t>(leaf.words.size())});
    }
    return runs;
  }
  const auto leftCount = static_cast<uint32_t>(leaf.leftWords);
  const auto rightCount = static_cast<uint32_t>(leaf.words.size() - leaf.leftWords);
  const std::vector<uint32_t> left = scan(0, leftCount);
  const std::vector<uint32_t> right = scan(leftCount, rightCount);
  forEachNearPair(left, leftCount, right, rightCount, leaf.distance,
                  [&](uint32_t leftStart, uint32_t rightStart) {
                    runs.push_back({leftStart, leftCount});
                    runs.push_back({rightStart, rightCount});
                    return !firstOnly;
                  });
  // Partners on the right that are nearest to no left one are marked too.
  if (!firstOnly) {
    forEachNearPair(right, rightCount, left, leftCount, leaf.distance,
                    [&](uint32_t rightStart, uint32_t leftStart) {
                      runs.push_back({leftStart, leftCount});
                      runs.push_back({rightStart, rightCount});
                      return true;
                    });
  }
  return runs;
}

}  // namespace

// Gathers hits, and hands them on when there are many.
class HitFinder::Gatherer {
 public:
  Gatherer(uint64_t reach, const Part& use) : reach_(reach), use_(use) {}

  std::vector<WordHit>& hits() { return hits_; }

  // All hits up to the word `ordinal` are there.
  void endWord(uint32_t ordinal) {
    if (hits_.size() < most_) return;
    if (ordinal > reach_ + from_) {
      const auto end = static_cast<uint32_t>(ordinal - reach_);
      use_(hits_, {from_, end});
      from_ = end;
      const auto stays = [&](const WordHit& hit) { return hit.ordinal + reach_ >= from_; };
      hits_.erase(hits_.begin(), std::find_if(hits_.begin(), hits_.end(), stays));
    }
    most_ = std::max(kHitsInPart, 2 * hits_.size());
  }
  void endText() const { use_(hits_, {from_, UINT32_MAX}); }

 private:
  const uint64_t reach_;
  const Part& use_;
  std::vector<WordHit> hits_;
  size_t most_ = kHitsInPart;
  uint32_t from_ = 0;
};

HitFinder::HitFinder(Reader& reader, const Query& query) : reader_(reader), query_(query) {
  for (uint32_t number = 0; number < query.words.size(); ++number) addWord(number);
  for (const QueryLeaf& leaf : query.leaves) {
    const bool isNear = leaf.kind == QueryLeaf::Kind::kNear;
    reach_ = std::max<uint64_t>(reach_, leaf.words.size() + (isNear ? leaf.distance : 0));
  }
  std::sort(literals_.begin(), literals_.end(),
            [](const Literal& a, const Literal& b) { return a.text < b.text; });
}

void HitFinder::addWord(uint32_t number) {
  const QueryWord& word = query_.words[number];
  mayStartWith(word.text);
  if (word.wildcard) {
    wildcards_.push_back(number);
    plain_.push_back(reader_.unicode() && withoutAccents(word.text) == word.text);
    if (plain_.back()) std::fill(mayStart_.begin() + 0x80, mayStart_.end(), true);
  } else if (word.single) {
    singles_.push_back(number);
    std::fill(mayStart_.begin() + 0x80, mayStart_.end(), true);
  } else {
    literals_.push_back({word.text, number});
    for (std::string& form : reader_.accentedFormsOf(word.text)) {
      mayStartWith(form);
      literals_.push_back({std::move(form), number});
    }
  }
}

void HitFinder::mayStartWith(std::string_view text) {
  if (text.empty()) return;
  if (text.front() == '*' || text.front() == '?') mayStart_.fill(true);
  mayStart_[static_cast<unsigned char>(text.front())] = true;
}

std::vector<WordHit> HitFinder::find(std::string_view text) const {
  std::vector<WordHit> all;
  findInParts(text, [&all](const std::vector<WordHit>& hits, WordRange range) {
    for (const WordHit& hit : hits) {
      if (hit.ordinal >= range.from && hit.ordinal < range.end) all.push_back(hit);
    }
  });
  return all;
}

void HitFinder::findInParts(std::string_view text, const Part& use) const {
  Gatherer gatherer(reach_, use);
  if (reader_.unicode()) {
    findInUnicode(text, gatherer);
  } else {
    findInBytes(text, gatherer);
  }
  gatherer.endText();
}

void HitFinder::findInUnicode(std::string_view text, Gatherer& gatherer) const {
  std::vector<WordHit>& hits = gatherer.hits();
  uint32_t ordinal = 0;
  walkUnicodeWords(reader_.index(), text, false,
                   [&](const char* word, size_t begin, size_t end, WordShape shape) {
                     const Place place{ordinal++, begin, end};
                     if (!mayStart_[static_cast<unsigned char>(word[0])]) return;
                     matchWord(word, place, hits);
                     if (shape != WordShape::kWord) matchSingles(text, word, place, hits);
                     gatherer.endWord(place.ordinal);
                   });
}

void HitFinder::findInBytes(std::string_view text, Gatherer& gatherer) const {
  std::array<char, kLongestWord + 1> folded;
  uint32_t ordinal = 0;
  const auto isWordAt = [text](size_t at) {
    return isWordByte(static_cast<unsigned char>(text[at]));
  };
  for (size_t at = 0; at < text.size();) {
    if (!isWordAt(at)) {
      ++at;
      continue;
    }
    const size_t begin = at;
    while (at < text.size() && isWordAt(at)) ++at;
    const size_t length = at - begin;
    if (length <= kLongestWord && mayStart_[kFold[static_cast<unsigned char>(text[begin])]]) {
      std::transform(text.begin() + static_cast<ptrdiff_t>(begin),
                     text.begin() + static_cast<ptrdiff_t>(at), folded.begin(), foldByte);
      folded[length] = '\0';
      matchWord({folded.data(), length}, {ordinal, begin, at}, gatherer.hits());
      gatherer.endWord(ordinal);
    }
    ++ordinal;
  }
}

// folded: zero-terminated.
void HitFinder::matchWord(std::string_view folded, const Place& place,
                          std::vector<WordHit>& hits) const {
  const size_t length = place.end - place.begin;
  const auto literal =
      std::lower_bound(literals_.begin(), literals_.end(), folded,
                       [](const Literal& a, std::string_view text) { return a.text < text; });
  for (auto each = literal; each != literals_.end() && each->text == folded; ++each) {
    hits.push_back({place.ordinal, each->word, place.begin, length});
  }
  for (size_t i = 0; i < wildcards_.size(); ++i) {
    const std::string& term = query_.words[wildcards_[i]].text;
    const bool matches = plain_[i] ? reader_.matchesPlain(folded.data(), term)
                                   : reader_.matches(folded.data(), term);
    if (matches) hits.push_back({place.ordinal, wildcards_[i], place.begin, length});
  }
}

// A single character in a pair: the hit is that character alone.
void HitFinder::matchSingles(std::string_view text, std::string_view folded, const Place& place,
                             std::vector<WordHit>& hits) const {
  size_t last = place.end;
  while (last > place.begin && (static_cast<unsigned char>(text[--last]) & 0xC0) == 0x80) {
  }
  for (const uint32_t number : singles_) {
    const std::string& character = query_.words[number].text;
    if (folded.starts_with(character)) {
      const size_t length = decodeUtf8(text, place.begin).bytes;
      hits.push_back({place.ordinal, number, place.begin, length});
    } else if (folded.ends_with(character)) {
      hits.push_back({place.ordinal, number, last, place.end - last});
    }
  }
}

bool HitFinder::holds(const QueryLeaf& leaf, const std::vector<WordHit>& hits) const {
  return !runsOf(leaf, hits, query_.words.size(), true).empty();
}

std::vector<Mark> HitFinder::marks(const std::vector<WordHit>& hits, WordRange range) const {
  std::vector<Mark> marks;
  for (uint32_t number = 0; number < query_.leaves.size(); ++number) {
    const QueryLeaf& leaf = query_.leaves[number];
    if (leaf.negated) continue;
    for (const Run& run : runsOf(leaf, hits, query_.words.size(), false)) {
      auto hit =
          std::lower_bound(hits.begin(), hits.end(), run.first,
                           [](const WordHit& a, uint32_t ordinal) { return a.ordinal < ordinal; });
      for (; hit != hits.end() && hit->ordinal < run.first + run.count; ++hit) {
        if (hit->ordinal < range.from || hit->ordinal >= range.end) continue;
        marks.push_back({hit->offset, hit->offset + hit->length, number});
      }
    }
  }
  std::sort(marks.begin(), marks.end(), [](const Mark& a, const Mark& b) {
    return a.begin != b.begin ? a.begin < b.begin : a.leaf < b.leaf;
  });
  const auto same = [](const Mark& a, const Mark& b) {
    return a.begin == b.begin && a.leaf == b.leaf;
  };
  marks.erase(std::unique(marks.begin(), marks.end(), same), marks.end());
  return marks;
}

}  // namespace veska
