// A hit query, made ready for search.
//
//   word ?ord wor*   terms; a word that any of them matches is a hit
//   a <3 b           a is a hit only if what follows the number is found within 3 words after it
//   a < b            the same with the default distance
//   ( )              group; a ")" without its "(" ends the query, and so does "&"
//   +a  +( ... )     left out
//
// All other bytes separate. Deliberate: "9" ends a number. Where a term with a condition is no hit,
// what the condition governs is passed over, and the next term is tried.

#ifndef VESKA_STORAGE_HITQUERY_H_
#define VESKA_STORAGE_HITQUERY_H_

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "storage/hitterms.h"

class HitQuery {
 public:
  static constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();

  // What may make a word a hit: a term with a condition, or terms without one, of which any will
  // do. Alternatives are numbered against the order in which they are tried: next < this one's
  // number.
  struct Alternative {
    uint32_t place;         // in the query
    uint32_t next = kNone;  // tried after this one
    bool conditional = false;
    // Of a condition: the query from here must be found within distance words. It begins with the
    // alternative rest and reaches up to the place restEnd.
    uint32_t rest = kNone;
    uint32_t restEnd = 0;
    int distance = 0;
    // The last alternative of the rest whose own condition lies behind restEnd: there, it has none.
    uint32_t unconditional = kNone;
  };

  // classes outlives the query. text: read up to its first zero.
  HitQuery(const WordClasses& classes, std::string text, int defaultDistance);
  HitQuery(const HitQuery&) = delete;
  HitQuery& operator=(const HitQuery&) = delete;

  const std::string& text() const { return text_; }
  const TermSet& terms() const { return terms_; }
  // False: a word is a hit when it matches any term.
  bool hasConditions() const { return hasConditions_; }
  const std::vector<Alternative>& alternatives() const { return alternatives_; }
  // The first that is tried; kNone when the query has none.
  uint32_t first() const { return first_; }
  // The alternatives that a term is in.
  std::span<const uint32_t> alternativesOf(uint32_t term) const {
    return std::span(ofTerms_).subspan(ofTermsBegin_[term],
                                       ofTermsBegin_[term + 1] - ofTermsBegin_[term]);
  }

 private:
  class Compiler;

  std::string text_;
  TermSet terms_;
  bool hasConditions_ = false;
  uint32_t first_ = kNone;
  std::vector<Alternative> alternatives_;
  std::vector<uint32_t> ofTerms_;       // the alternatives of all terms, one term after the other
  std::vector<uint32_t> ofTermsBegin_;  // where those of a term begin; one more at the end
};

#endif  // VESKA_STORAGE_HITQUERY_H_
