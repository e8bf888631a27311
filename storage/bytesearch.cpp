// Places where both the first and the last byte of the part agree are found 64 at a time, and
// then compared as a whole.

#include "storage/bytesearch.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

const char* findRest(const char* begin, const char* end, std::string_view part) {
  return static_cast<const char*>(
      memmem(begin, static_cast<size_t>(end - begin), part.data(), part.size()));
}

#ifdef __SSE2__
unsigned equalBytes(const char* at, __m128i byte) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, byte)));
}
#endif

}  // namespace

const char* findBytes(const char* begin, const char* end, std::string_view part) {
#ifdef __SSE2__
  constexpr ptrdiff_t kStep = sizeof(__m128i);
  constexpr ptrdiff_t kAhead = 2048;  // so that memory answers in time, across pages too
  const size_t lastAt = part.size() - 1;
  const __m128i first = _mm_set1_epi8(part.front());
  const __m128i last = _mm_set1_epi8(part.back());
  while (end - begin >= 4 * kStep + static_cast<ptrdiff_t>(lastAt)) {
    __builtin_prefetch(begin + kAhead);
    uint64_t places = 0;
    for (int step = 0; step < 4; ++step) {
      const char* const at = begin + step * kStep;
      const uint64_t equal = equalBytes(at, first) & equalBytes(at + lastAt, last);
      places |= equal << (step * kStep);
    }
    for (; places != 0; places &= places - 1) {
      const char* const at = begin + std::countr_zero(places);
      if (std::memcmp(at + 1, part.data() + 1, lastAt) == 0) return at;
    }
    begin += 4 * kStep;
  }
#endif
  return findRest(begin, end, part);
}
