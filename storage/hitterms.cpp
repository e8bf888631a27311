// How terms are matched in linear time.
//
// matchesForwards goes back to the last "*" only: whatever an earlier one could still take, the
// last one can take too.
//
// The automaton reads words backwards. Its state says, for each position in each term, whether the
// rest of that term matches the text from the current byte to the end of the word; a byte to the
// left changes it by a few operations on whole machine words. (The idea is that of the shift-and
// search: Baeza-Yates and Gonnet, "A New Approach to Text Searching", CACM 35(10), 1992.)

#include "storage/hitterms.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <utility>

namespace {

constexpr size_t kMaxAutomatonBits = 4096;
constexpr size_t kBitsPerWord = 64;

void setBit(std::vector<uint64_t>& mask, size_t bit) {
  mask[bit / kBitsPerWord] |= uint64_t{1} << (bit % kBitsPerWord);
}

unsigned char foldedByte(const char* at) { return foldByte(*at); }

// The word has ended: may the term end too?
bool matchesNothing(const WordClasses& classes, const char* pattern) {
  if (classes.continues(*pattern)) return false;
  while (*pattern == '?' || *pattern == '*') ++pattern;
  return !classes.continues(*pattern);
}

bool matchesForwards(const WordClasses& classes, const char* text, const char* pattern) {
  const char* afterStar = nullptr;
  const char* taken = nullptr;  // where the last star's run ends
  // Lets the last star take bytes up to one that the byte behind the star matches.
  const auto advanceStar = [&] {
    while (classes.continues(*taken) && foldedByte(taken) != static_cast<unsigned char>(*afterStar))
      ++taken;
    text = taken;
    pattern = afterStar;
    return classes.continues(*taken);
  };
  for (; classes.continues(*text); ++text, ++pattern) {
    if (*pattern == '*') {
      if (!classes.continues(pattern[1])) return true;
      afterStar = pattern + 1;
      taken = text;
      if (!advanceStar()) return false;
    } else if (!classes.isWildcard(*pattern) &&
               (!classes.continues(*pattern) ||
                foldedByte(text) != static_cast<unsigned char>(*pattern))) {
      if (afterStar == nullptr) return false;
      ++taken;
      if (!advanceStar()) return false;
    }
  }
  return matchesNothing(classes, pattern);
}

// The same for any classes. Where "*" is a word byte, it is a star all the same, but behind a star
// it also stands for itself; and a "*" or "?" that is a word byte does not match nothing. Then
// going back to an earlier star can help.
bool matchesBackwards(const WordClasses& classes, const char* text, const char* pattern) {
  size_t size = 0;
  while (classes.isTermByte(pattern[size])) ++size;
  const char* at = text;
  while (classes.continues(*at)) ++at;
  std::vector<char> rest(size + 1);  // does the term from here match the text from `at`?
  for (size_t i = 0; i <= size; ++i) rest[i] = matchesNothing(classes, pattern + i);
  for (bool lastByte = true; at != text; lastByte = false) {
    const unsigned char c = foldedByte(--at);
    char before = rest[size];
    rest[size] = false;
    for (size_t i = size; i-- > 0;) {
      const char old = rest[i];
      if (pattern[i] == '*') {
        const bool endsHere = c == static_cast<unsigned char>(pattern[i + 1]) && rest[i + 1];
        rest[i] = endsHere || (old && !lastByte) || !classes.continues(pattern[i + 1]);
      } else {
        rest[i] = before &&
                  (classes.isWildcard(pattern[i]) || c == static_cast<unsigned char>(pattern[i]));
      }
      before = old;
    }
  }
  return rest[0];
}

}  // namespace

bool termMatches(const WordClasses& classes, const char* text, const char* pattern, bool atStart) {
  if (!(atStart ? classes.starts(*text) : classes.continues(*text)))
    return matchesNothing(classes, pattern);
  return classes.hasWildcardBytes() ? matchesBackwards(classes, text, pattern)
                                    : matchesForwards(classes, text, pattern);
}

size_t TextNumbers::slotOf(std::string_view text) const {
  const size_t mask = slots_.size() - 1;
  size_t slot = std::hash<std::string_view>()(text) & mask;
  while (slots_[slot] != kNone && texts_[slots_[slot]] != text) slot = (slot + 1) & mask;
  return slot;
}

void TextNumbers::grow() {
  slots_.assign(std::max<size_t>(16, slots_.size() * 2), kNone);
  for (uint32_t number = 0; number < size(); ++number) slots_[slotOf(texts_[number])] = number;
}

uint32_t TextNumbers::add(std::string_view text) {
  if (texts_.size() * 2 >= slots_.size()) grow();
  uint32_t& slot = slots_[slotOf(text)];
  if (slot == kNone) {
    slot = size();
    texts_.push_back(text);
  }
  return slot;
}

uint32_t TextNumbers::find(std::string_view text) const {
  return slots_.empty() ? kNone : slots_[slotOf(text)];
}

size_t TermSet::literalPrefix(std::string_view term) const {
  const auto wildcard =
      std::find_if(term.begin(), term.end(), [this](char c) { return classes_.isWildcard(c); });
  return static_cast<size_t>(wildcard - term.begin());
}

// The automaton knows "*" and "?" as wildcards only.
bool TermSet::fitsAutomaton(std::string_view term) const {
  return numberAtBit_.size() + term.size() + 1 <= kMaxAutomatonBits && !classes_.hasWildcardBytes();
}

void TermSet::finish() {
  bool beginsFolded[256] = {};
  isLiteral_.resize(terms_.size());
  samePrefix_.assign(terms_.size(), TextNumbers::kNone);
  for (uint32_t number = 0; number < terms_.size(); ++number) {
    const std::string_view term = terms_[number];
    const size_t prefix = literalPrefix(term);
    if (prefix == 0) std::fill(std::begin(beginsFolded), std::end(beginsFolded), true);
    beginsFolded[static_cast<unsigned char>(term[0])] = true;
    if (prefix == term.size()) {
      isLiteral_[number] = true;
      if (literalLengths_.size() <= term.size()) literalLengths_.resize(term.size() + 1);
      literalLengths_[term.size()] = true;
    } else if (fitsAutomaton(term)) {
      automatonTerms_.push_back(term);
      numberAtBit_.resize(numberAtBit_.size() + term.size() + 1, number);
    } else {
      const uint32_t prefixNumber = prefixes_.add(term.substr(0, prefix));
      if (prefixNumber == lastWithPrefix_.size()) lastWithPrefix_.push_back(TextNumbers::kNone);
      samePrefix_[number] = std::exchange(lastWithPrefix_[prefixNumber], number);
      prefixLengths_.push_back(prefix);
    }
  }
  std::sort(prefixLengths_.begin(), prefixLengths_.end());
  prefixLengths_.erase(std::unique(prefixLengths_.begin(), prefixLengths_.end()),
                       prefixLengths_.end());
  for (int byte = 0; byte < 256; ++byte)
    mayBegin_[byte] = beginsFolded[foldByte(static_cast<char>(byte))];
  if (hasAutomaton()) sizeAutomaton();
}

void TermSet::sizeAutomaton() {
  const size_t words = (numberAtBit_.size() + kBitsPerWord - 1) / kBitsPerWord;
  for (auto* mask :
       {&masks_.first, &masks_.atEnd, &masks_.anyByte, &masks_.restOfWord, &masks_.run})
    mask->assign(words, 0);
  for (auto& mask : masks_.byte) mask.assign(words, 0);
  uint32_t bit = 0;
  for (const std::string_view term : automatonTerms_) {
    addToAutomaton(term, bit);
    bit += static_cast<uint32_t>(term.size()) + 1;
  }
}

void TermSet::addToAutomaton(std::string_view term, uint32_t bit) {
  setBit(masks_.first, bit);
  setBit(masks_.atEnd, bit + term.size());
  bool wildcardsOnly = true;  // from here to the end of the term
  for (size_t i = term.size(); i-- > 0;) {
    const char c = term[i];
    wildcardsOnly = wildcardsOnly && classes_.isWildcard(c);
    if (wildcardsOnly) setBit(masks_.atEnd, bit + i);
    if (c == '*') {
      const bool takesRest = i + 1 == term.size() || !classes_.continues(term[i + 1]);
      setBit(takesRest ? masks_.restOfWord : masks_.run, bit + i);
    } else if (classes_.isWildcard(c)) {
      setBit(masks_.anyByte, bit + i);
    } else {
      setBit(masks_.byte[static_cast<unsigned char>(c)], bit + i);
    }
  }
}

TermMatcher::TermMatcher(const TermSet& terms) : terms_(terms) {}

void TermMatcher::beginRun(const char* runEnd) {
  at_ = runEnd_ = runEnd;
  if (terms_.hasAutomaton()) state_ = terms_.masks_.atEnd;
}

void TermMatcher::step(const char* at) {
  at_ = at;
  if (!terms_.hasAutomaton()) return;
  const TermSet::Masks& masks = terms_.masks_;
  const std::vector<uint64_t>& byte = masks.byte[foldedByte(at)];
  constexpr unsigned kTop = kBitsPerWord - 1;
  uint64_t oldAbove = 0;
  uint64_t newAbove = 0;
  for (size_t i = state_.size(); i-- > 0;) {
    const uint64_t old = state_[i];
    const uint64_t next = (old >> 1) | (oldAbove << kTop);
    uint64_t now =
        (next & (byte[i] | masks.anyByte[i])) | masks.restOfWord[i] | (old & masks.run[i]);
    // A star's run may end right here.
    now |= ((now >> 1) | (newAbove << kTop)) & masks.run[i];
    state_[i] = now;
    oldAbove = old;
    newAbove = now;
  }
}

void TermMatcher::collect(std::vector<uint32_t>& numbers) {
  if (!terms_.mayBegin(*at_)) return;
  folded_.clear();
  collectLiteral(numbers);
  if (terms_.hasAutomaton()) collectAutomaton(numbers);
  if (!terms_.prefixLengths_.empty()) collectByPrefix(numbers);
}

// Has the first bytes of the word in folded_, at least.
void TermMatcher::foldWord(size_t bytes) {
  for (size_t i = folded_.size(); i < bytes; ++i) folded_ += static_cast<char>(foldedByte(at_ + i));
}

void TermMatcher::collectLiteral(std::vector<uint32_t>& numbers) {
  const auto length = static_cast<size_t>(runEnd_ - at_);
  if (length >= terms_.literalLengths_.size() || !terms_.literalLengths_[length]) return;
  foldWord(length);
  const uint32_t found = terms_.terms_.find(std::string_view(folded_).substr(0, length));
  if (found != TextNumbers::kNone && terms_.isLiteral_[found]) numbers.push_back(found);
}

void TermMatcher::collectAutomaton(std::vector<uint32_t>& numbers) const {
  for (size_t i = 0; i < state_.size(); ++i) {
    for (uint64_t left = state_[i] & terms_.masks_.first[i]; left != 0; left &= left - 1)
      numbers.push_back(
          terms_.numberAtBit_[i * kBitsPerWord + static_cast<size_t>(std::countr_zero(left))]);
  }
}

void TermMatcher::collectByPrefix(std::vector<uint32_t>& numbers) {
  const auto length = static_cast<size_t>(runEnd_ - at_);
  for (const size_t prefix : terms_.prefixLengths_) {
    if (prefix > length) return;
    foldWord(prefix);
    const uint32_t found = terms_.prefixes_.find(std::string_view(folded_).substr(0, prefix));
    if (found == TextNumbers::kNone) continue;
    for (uint32_t number = terms_.lastWithPrefix_[found]; number != TextNumbers::kNone;
         number = terms_.samePrefix_[number]) {
      if (termMatches(terms_.classes_, at_, terms_.terms_[number].data(), true))
        numbers.push_back(number);
    }
  }
}
