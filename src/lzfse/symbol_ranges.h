#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "lzfse/frequencies.h"
#include "lzfse/limits.h"

namespace tovrin::lzfse {

/// The values of a symbol: `base` and the numbers that `extra` bits can add to it.
struct ValueRange {
  std::uint8_t extra;
  std::uint32_t base;
};

/// Each range begins where the one before it ends.
template <std::size_t n>
constexpr std::array<ValueRange, n> rangesOf(const std::array<std::uint8_t, n>& extras) {
  std::array<ValueRange, n> ranges{};
  std::uint32_t base = 0;
  for (std::size_t symbol = 0; symbol < n; ++symbol) {
    ranges[symbol] = {extras[symbol], base};
    base += 1U << extras[symbol];
  }
  return ranges;
}

inline constexpr auto kLiteralRunRanges = rangesOf<kLiteralRunSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                                                        0, 0, 0, 0, 0, 0, 2, 3, 5, 8});
inline constexpr auto kMatchLengthRanges = rangesOf<kMatchLengthSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                                                          0, 0, 0, 0, 0, 0, 3, 5, 8, 11});
inline constexpr auto kDistanceRanges = [] {
  std::array<std::uint8_t, kDistanceSymbols> extras{};
  for (std::size_t symbol = 0; symbol < extras.size(); ++symbol) extras[symbol] = static_cast<std::uint8_t>(symbol / 4);
  return rangesOf(extras);
}();

constexpr std::uint32_t largestValue(const ValueRange& range) { return range.base + (1U << range.extra) - 1; }
static_assert(largestValue(kLiteralRunRanges.back()) == kMaxLiteralRun);
static_assert(largestValue(kMatchLengthRanges.back()) == kMaxMatchLength);
static_assert(largestValue(kDistanceRanges.back()) == kMaxDistance);

}  // namespace tovrin::lzfse
