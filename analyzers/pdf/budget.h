// What one document may cost. Every layer that does work in proportion to something a file says
// takes it from here, so that a small hostile file ends soon whatever it nests, repeats or
// inflates.

#ifndef VESKA_ANALYZERS_PDF_BUDGET_H_
#define VESKA_ANALYZERS_PDF_BUDGET_H_

#include <cstdint>

namespace veska::pdf {

// Depths and sizes that no sound document reaches.
inline constexpr int kMaxNesting = 64;                  // arrays and dictionaries within each other
inline constexpr int kMaxReferenceChain = 16;           // references that lead to references
inline constexpr int kMaxFormDepth = 16;                // form XObjects within each other
inline constexpr int kMaxPageTreeDepth = 64;            // nodes of the page tree within each other
inline constexpr int kMaxFilters = 8;                   // filters of one stream
inline constexpr uint64_t kMaxStreamBytes = 48u << 20;  // one stream, decoded

class Budget {
 public:
  // fileBytes: size of the document.
  explicit Budget(uint64_t fileBytes = 0)
      : decodedBytes_((64u << 20) + 48 * fileBytes),
        objects_((1u << 20) + fileBytes / 4),
        steps_((24u << 20) + 32 * fileBytes) {}

  // Each takes an amount and answers whether there was so much left; nothing is left afterwards
  // when there was not.
  bool takeObjects(uint64_t count) { return take(objects_, count); }
  // Steps: operators, glyphs, table entries; about ten nanoseconds each.
  bool takeSteps(uint64_t count) { return take(steps_, count); }
  bool takeDecoded(uint64_t bytes) { return take(decodedBytes_, bytes); }

  uint64_t decodedBytesLeft() const { return decodedBytes_; }
  bool exhausted() const { return decodedBytes_ == 0 || objects_ == 0 || steps_ == 0; }

 private:
  static bool take(uint64_t& from, uint64_t amount) {
    if (amount >= from) {
      from = 0;
      return false;
    }
    from -= amount;
    return true;
  }

  uint64_t decodedBytes_;
  uint64_t objects_;
  uint64_t steps_;
};

}  // namespace veska::pdf

#endif  // VESKA_ANALYZERS_PDF_BUDGET_H_
