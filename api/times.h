// Times inside the library count from 1970, those at the interface from 1904.

#ifndef VESKA_API_TIMES_H_
#define VESKA_API_TIMES_H_

#include <limits>

constexpr double kSecondsFrom1904To1970 = 2082844800.0;

inline double toHostTime(double unixSeconds) { return unixSeconds + kSecondsFrom1904To1970; }

// Cut towards zero, and clamped to what the field can hold; what is no number counts as 0.
template <typename Field>
Field fromHostTime(double secondsSince1904) {
  const double seconds = secondsSince1904 - kSecondsFrom1904To1970;
  constexpr auto kLowest = std::numeric_limits<Field>::min();
  constexpr auto kHighest = std::numeric_limits<Field>::max();
  if (seconds != seconds) return 0;
  if (seconds <= static_cast<double>(kLowest)) return kLowest;
  if (seconds >= static_cast<double>(kHighest)) return kHighest;
  return static_cast<Field>(seconds);
}

#endif  // VESKA_API_TIMES_H_
