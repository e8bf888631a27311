// A query is cut into tokens, and what a search would do at each token is worked out from the last
// token to the first, so that nothing here recurses, however deep the query nests. Places are token
// numbers.

#include "storage/hitquery.h"

#include <algorithm>
#include <string_view>

namespace {

enum class Kind : unsigned char { kTerm, kOpen, kClose, kSkip, kNear };

struct Token {
  Kind kind;
  uint32_t begin;  // of a term, in the query
  uint32_t value;  // of a term, its length; of a condition, its distance
};

// Deliberate: 9 is no digit here.
bool isDistanceDigit(char c) { return c >= '0' && c <= '8'; }

class Tokenizer {
 public:
  Tokenizer(const WordClasses& classes, const std::string& text, int defaultDistance)
      : classes_(classes), text_(text), defaultDistance_(defaultDistance) {}

  // Up to the end of the query.
  std::vector<Token> run() {
    std::vector<Token> tokens;
    size_t depth = 0;
    while (at_ < text_.size()) {
      const char c = text_[at_];
      if (classes_.isTermByte(c)) {
        tokens.push_back(term());
        continue;
      }
      ++at_;
      if (c == '&' || (c == ')' && depth == 0)) break;
      if (c == '(') {
        ++depth;
        tokens.push_back({Kind::kOpen, 0, 0});
      } else if (c == ')') {
        --depth;
        tokens.push_back({Kind::kClose, 0, 0});
      } else if (c == '+') {
        tokens.push_back({Kind::kSkip, 0, 0});
      } else if (c == '<') {
        tokens.push_back({Kind::kNear, 0, static_cast<uint32_t>(distance())});
      }
    }
    return tokens;
  }

 private:
  Token term() {
    const size_t begin = at_;
    while (at_ < text_.size() && classes_.isTermByte(text_[at_])) ++at_;
    return {Kind::kTerm, static_cast<uint32_t>(begin), static_cast<uint32_t>(at_ - begin)};
  }

  int distance() {
    if (at_ == text_.size() || !isDistanceDigit(text_[at_])) return defaultDistance_;
    constexpr int64_t kMost = std::numeric_limits<int>::max();
    int64_t number = 0;
    for (; at_ < text_.size() && isDistanceDigit(text_[at_]); ++at_)
      number = std::min(number * 10 + (text_[at_] - '0'), kMost);
    return static_cast<int>(number);
  }

  const WordClasses& classes_;
  const std::string& text_;
  const int defaultDistance_;
  size_t at_ = 0;
};

}  // namespace

class HitQuery::Compiler {
 public:
  Compiler(HitQuery& query, std::vector<Token> tokens)
      : query_(query), tokens_(std::move(tokens)), size_(static_cast<uint32_t>(tokens_.size())) {}

  void run() {
    matchGroups();
    workOutSteps();
    const uint32_t first = firstTerm_[0];
    if (first == kNone) return;
    visitReachable(first);
    markBoundaries(first);
    makeAlternatives();
    query_.first_ = alternativeAt_[first];
    for (uint32_t at = first; at != kNone && !query_.hasConditions_; at = nextTerm(at))
      query_.hasConditions_ = isConditional(at);
    findUnconditional();
  }

 private:
  Kind kind(uint32_t at) const { return tokens_[at].kind; }
  bool isNear(uint32_t at) const { return at != size_ && kind(at) == Kind::kNear; }
  bool isUnit(uint32_t at) const {
    return at != size_ && (kind(at) == Kind::kTerm || kind(at) == Kind::kOpen);
  }

  // Group ends, and the end of the group that each condition stands in.
  void matchGroups() {
    groupEnd_.assign(size_, size_);
    std::vector<uint32_t> open;
    std::vector<uint32_t> groupOf(size_, kNone);
    for (uint32_t at = 0; at < size_; ++at) {
      if (kind(at) == Kind::kOpen) {
        open.push_back(at);
      } else if (kind(at) == Kind::kClose) {
        groupEnd_[open.back()] = at;
        open.pop_back();
      } else if (!open.empty()) {
        groupOf[at] = open.back();
      }
    }
    restEnd_.assign(size_, size_);
    for (uint32_t at = 0; at < size_; ++at)
      if (groupOf[at] != kNone) restEnd_[at] = groupEnd_[groupOf[at]];
  }

  // The place behind the term or group at this place, marked to be left out or not.
  uint32_t unitEnd(uint32_t at) const {
    at = skipsEnd_[at];
    if (!isUnit(at)) return at;
    return kind(at) == Kind::kTerm ? at + 1 : std::min(groupEnd_[at] + 1, size_);
  }

  void workOutSteps() {
    skipsEnd_.assign(size_ + 1, size_);
    closesEnd_.assign(size_ + 1, size_);
    conditionsEnd_.assign(size_ + 1, size_);
    firstTerm_.assign(size_ + 1, kNone);
    for (uint32_t at = size_; at-- > 0;) {
      skipsEnd_[at] = kind(at) == Kind::kSkip ? skipsEnd_[at + 1] : at;
      closesEnd_[at] = kind(at) == Kind::kClose ? closesEnd_[at + 1] : at;
      const uint32_t near = closesEnd_[at];
      conditionsEnd_[at] = isNear(near) ? conditionsEnd_[unitEnd(near + 1)] : near;
      firstTerm_[at] = firstTermAt(at);
    }
  }

  uint32_t firstTermAt(uint32_t at) const {
    switch (kind(at)) {
      case Kind::kTerm:
        return at;
      case Kind::kOpen:
      case Kind::kClose:
        return firstTerm_[at + 1];
      case Kind::kSkip: {
        const uint32_t end = unitEnd(at);
        return firstTerm_[isUnit(skipsEnd_[at]) ? conditionsEnd_[end] : end];
      }
      case Kind::kNear:
        break;
    }
    return kNone;  // a condition without a term
  }

  uint32_t nextTerm(uint32_t term) const { return firstTerm_[conditionsEnd_[term + 1]]; }
  uint32_t conditionOf(uint32_t term) const { return closesEnd_[term + 1]; }
  bool isConditional(uint32_t term) const { return isNear(conditionOf(term)); }
  uint32_t restOf(uint32_t term) const { return firstTerm_[conditionOf(term) + 1]; }
  uint32_t restEndOf(uint32_t term) const { return restEnd_[conditionOf(term)]; }

  // Marks the terms that some search may try.
  void visitReachable(uint32_t first) {
    reachable_.assign(size_, false);
    followers_.assign(size_, 0);
    std::vector<uint32_t> pending{first};
    while (!pending.empty()) {
      uint32_t at = pending.back();
      pending.pop_back();
      while (at != kNone && !reachable_[at]) {
        reachable_[at] = true;
        if (isConditional(at) && restOf(at) != kNone) pending.push_back(restOf(at));
        at = nextTerm(at);
        if (at != kNone) ++followers_[at];
      }
    }
  }

  // Terms without a condition share an alternative unless a search can begin or end between them.
  void markBoundaries(uint32_t first) {
    beginsRest_.assign(size_, false);
    beginsRest_[first] = true;
    restEndsBefore_.assign(size_ + 1, 0);
    for (uint32_t at = 0; at < size_; ++at) {
      if (!reachable_[at] || !isConditional(at)) continue;
      if (restOf(at) != kNone) beginsRest_[restOf(at)] = true;
      if (restEndOf(at) != size_) restEndsBefore_[restEndOf(at) + 1] = 1;
    }
    for (uint32_t at = 0; at < size_; ++at) restEndsBefore_[at + 1] += restEndsBefore_[at];
  }

  bool joins(uint32_t term, uint32_t next) const {
    return next != kNone && !isConditional(term) && !isConditional(next) && !beginsRest_[next] &&
           followers_[next] == 1 && restEndsBefore_[term] == restEndsBefore_[next];
  }

  void makeAlternatives() {
    alternativeAt_.assign(size_, kNone);
    for (uint32_t at = size_; at-- > 0;) {
      if (!reachable_[at]) continue;
      const uint32_t next = nextTerm(at);
      alternativeAt_[at] = joins(at, next) ? alternativeAt_[next] : newAlternative(at, next);
      const Token& token = tokens_[at];
      members_.emplace_back(
          query_.terms_.add(std::string_view(query_.text_).substr(token.begin, token.value)),
          alternativeAt_[at]);
    }
    query_.terms_.finish();
    sortByTerm();
  }

  // From pairs of a term and its alternative to the alternatives of each term, each once in a row.
  void sortByTerm() {
    std::vector<uint32_t> last(query_.terms_.size(), kNone);
    std::erase_if(members_, [&](const auto& member) {
      return std::exchange(last[member.first], member.second) == member.second;
    });
    std::vector<uint32_t>& begin = query_.ofTermsBegin_;
    begin.assign(query_.terms_.size() + 2, 0);
    for (const auto& [term, alternative] : members_) ++begin[term + 2];
    for (size_t i = 2; i < begin.size(); ++i) begin[i] += begin[i - 1];
    query_.ofTerms_.resize(members_.size());
    for (const auto& [term, alternative] : members_)
      query_.ofTerms_[begin[term + 1]++] = alternative;
  }

  uint32_t alternativeOf(uint32_t term) const {
    return term == kNone ? kNone : alternativeAt_[term];
  }

  uint32_t newAlternative(uint32_t term, uint32_t next) {
    Alternative alternative;
    alternative.place = term;
    alternative.next = alternativeOf(next);
    if (isConditional(term)) {
      alternative.conditional = true;
      alternative.rest = alternativeOf(restOf(term));
      alternative.restEnd = restEndOf(term);
      alternative.distance = static_cast<int>(tokens_[conditionOf(term)].value);
    }
    query_.alternatives_.push_back(alternative);
    return static_cast<uint32_t>(query_.alternatives_.size() - 1);
  }

  // Where a rest ends with a term whose condition stands behind the ")" that ends the rest, that
  // term has no condition there. Whether such a term is tried in the rest at all is asked of the
  // tree that the steps to the next alternative form: those who come by it are its descendants.
  void findUnconditional() {
    std::vector<Alternative>& alternatives = query_.alternatives_;
    const auto count = static_cast<uint32_t>(alternatives.size());
    std::vector<uint32_t> descendants(count + 1, 1);
    const auto parent = [&](uint32_t i) {
      return alternatives[i].next == kNone ? count : alternatives[i].next;
    };
    for (uint32_t i = count; i-- > 0;) descendants[parent(i)] += descendants[i];
    std::vector<uint32_t> number(count + 1, 0);
    std::vector<uint32_t> free(count + 1, 1);
    for (uint32_t i = 0; i < count; ++i) {
      number[i] = free[parent(i)];
      free[parent(i)] += descendants[i];
      free[i] = number[i] + 1;
    }
    std::vector<uint32_t> lastTerm(size_ + 1, kNone);  // in front of a place
    for (uint32_t at = 0; at < size_; ++at)
      lastTerm[at + 1] = kind(at) == Kind::kTerm ? at : lastTerm[at];
    for (Alternative& alternative : alternatives) {
      if (!alternative.conditional || alternative.rest == kNone) continue;
      const uint32_t term = lastTerm[alternative.restEnd];
      if (term == kNone || !reachable_[term] || !isConditional(term)) continue;
      if (conditionOf(term) < alternative.restEnd) continue;
      const uint32_t last = alternativeAt_[term];
      const uint32_t begin = number[alternative.rest];
      if (begin >= number[last] && begin < number[last] + descendants[last])
        alternative.unconditional = last;
    }
  }

  HitQuery& query_;
  const std::vector<Token> tokens_;
  const uint32_t size_;

  std::vector<uint32_t> groupEnd_;       // of an open parenthesis: its closing one
  std::vector<uint32_t> restEnd_;        // of a condition: where the query behind it ends
  std::vector<uint32_t> skipsEnd_;       // behind all "+" here
  std::vector<uint32_t> closesEnd_;      // behind all ")" here
  std::vector<uint32_t> conditionsEnd_;  // behind all conditions here and what they govern
  std::vector<uint32_t> firstTerm_;      // the first term to be tried from here on
  std::vector<bool> reachable_;
  std::vector<uint32_t> followers_;  // reachable terms after which this one is tried
  std::vector<bool> beginsRest_;
  std::vector<uint32_t> restEndsBefore_;
  std::vector<uint32_t> alternativeAt_;
  std::vector<std::pair<uint32_t, uint32_t>> members_;  // a term and an alternative that it is in
};

HitQuery::HitQuery(const WordClasses& classes, std::string text, int defaultDistance)
    : text_(std::move(text)), terms_(classes) {
  Compiler(*this, Tokenizer(classes, text_, defaultDistance).run()).run();
}
