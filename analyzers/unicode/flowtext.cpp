// Most of a text is words with single spaces between them, so 16 bytes are looked at together, and
// one by one only where a run may end.

#include "analyzers/unicode/flowtext.h"

#include <bit>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace veska::unicode {
namespace {

// A blank that is not a single space between two words.
bool endsRun(std::string_view text, size_t at) {
  return isFlowBlank(text[at]) &&
         (text[at] != ' ' || at + 1 == text.size() || isFlowBlank(text[at + 1]));
}

#ifdef __SSE2__
constexpr size_t kStep = sizeof(__m128i);

// Bit i tells that the run may end at byte i: control characters count as blanks here. REQUIRES:
// kStep + 1 bytes stand there.
unsigned mayEndRun(const char* at) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  const __m128i space = _mm_set1_epi8(' ');
  const auto maskOf = [](__m128i equal) { return static_cast<unsigned>(_mm_movemask_epi8(equal)); };
  const unsigned spaces = maskOf(_mm_cmpeq_epi8(bytes, space));
  const unsigned blanks = maskOf(_mm_cmpeq_epi8(_mm_min_epu8(bytes, space), bytes));
  const unsigned behind = static_cast<unsigned char>(at[kStep]) <= ' ' ? 1u << (kStep - 1) : 0;
  return (blanks & ~spaces) | (spaces & (blanks >> 1 | behind));
}
#endif

}  // namespace

size_t flowRunEnd(std::string_view text, size_t at) {
#ifdef __SSE2__
  while (text.size() - at > kStep) {
    const unsigned ends = mayEndRun(text.data() + at);
    if (ends == 0) {
      at += kStep;
      continue;
    }
    at += static_cast<size_t>(std::countr_zero(ends));
    if (endsRun(text, at)) return at;
    ++at;
  }
#endif
  while (at < text.size() && !endsRun(text, at)) ++at;
  return at;
}

}  // namespace veska::unicode
