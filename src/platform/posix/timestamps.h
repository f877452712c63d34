#pragma once

#include <time.h>

#include <cstdint>
#include <limits>

/// Times of files, as the system has them and as nanoseconds since 1970.
namespace tovrin {

inline constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

/// What lies before 1677 or after 2262 is the first or the last moment that fits.
template <class SystemTime>
std::int64_t nanosecondsOf(const SystemTime& time) {
  std::int64_t nanoseconds = 0;
  const bool fits = !__builtin_mul_overflow(time.tv_sec, kNanosecondsPerSecond, &nanoseconds) &&
                    !__builtin_add_overflow(nanoseconds, time.tv_nsec, &nanoseconds);
  if (fits) return nanoseconds;
  return time.tv_sec < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

inline timespec systemTimeOf(std::int64_t nanoseconds) {
  std::int64_t seconds = nanoseconds / kNanosecondsPerSecond;
  std::int64_t rest = nanoseconds % kNanosecondsPerSecond;
  if (rest < 0) --seconds, rest += kNanosecondsPerSecond;
  return {.tv_sec = seconds, .tv_nsec = rest};
}

}  // namespace tovrin
