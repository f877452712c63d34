#include "lzfse/fse_table.h"

#include <bit>
#include <numeric>
#include <span>

#include "lzfse/limits.h"

namespace tovrin::lzfse {
namespace {

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

constexpr auto kLiteralRunRanges = rangesOf<kLiteralRunSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                                                 0, 0, 0, 0, 0, 0, 2, 3, 5, 8});
constexpr auto kMatchLengthRanges = rangesOf<kMatchLengthSymbols>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0,  //
                                                                   0, 0, 0, 0, 0, 0, 3, 5, 8, 11});
constexpr auto kDistanceRanges = [] {
  std::array<std::uint8_t, kDistanceSymbols> extras{};
  for (std::size_t symbol = 0; symbol < extras.size(); ++symbol) extras[symbol] = static_cast<std::uint8_t>(symbol / 4);
  return rangesOf(extras);
}();

constexpr std::uint32_t largest(const ValueRange& range) { return range.base + (1U << range.extra) - 1; }
static_assert(largest(kLiteralRunRanges.back()) == kMaxLiteralRun);
static_assert(largest(kMatchLengthRanges.back()) == kMaxMatchLength);
static_assert(largest(kDistanceRanges.back()) == kMaxDistance);

/// Calls `fill(state, symbol, bits, delta)` for every state.
template <class Fill>
bool forEachState(Frequencies::View frequencies, Symbols symbols, std::uint32_t states, Fill fill) {
  const std::uint32_t sum = std::accumulate(frequencies.begin(), frequencies.end(), 0U);
  if (symbols == Symbols::none) return sum <= states;
  if (sum != states) return false;
  std::uint32_t state = 0;
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    const std::uint32_t frequency = frequencies[symbol];
    if (frequency == 0) continue;
    // The symbol's first states read one bit more than the others, so that all of them together lead to every state.
    const int bits = std::countl_zero(frequency) - std::countl_zero(states);
    const std::uint32_t withMoreBits = (2 * states >> bits) - frequency;
    for (std::uint32_t i = 0; i < frequency; ++i, ++state) {
      if (i < withMoreBits) {
        fill(state, symbol, bits, ((frequency + i) << bits) - states);
      } else {
        fill(state, symbol, bits - 1, (i - withMoreBits) << (bits - 1));
      }
    }
  }
  return true;
}

bool buildValueTable(Frequencies::View frequencies, Symbols symbols, std::span<const ValueRange> ranges,
                     std::span<ValueEntry> table) {
  return forEachState(frequencies, symbols, static_cast<std::uint32_t>(table.size()),
                      [&](std::uint32_t state, std::size_t symbol, int bits, std::uint32_t delta) {
                        const ValueRange& range = ranges[symbol];
                        const int allBits = bits + range.extra;
                        table[state] = {.mask = (1U << allBits) - 1,
                                        .extraMask = (1U << range.extra) - 1,
                                        .base = range.base,
                                        .delta = static_cast<std::uint16_t>(delta),
                                        .bits = static_cast<std::uint8_t>(allBits),
                                        .extra = range.extra};
                      });
}

}  // namespace

bool buildTable(const Frequencies& frequencies, Symbols symbols, LiteralTable& table) {
  return forEachState(frequencies.literals(), symbols, kLiteralStates,
                      [&](std::uint32_t state, std::size_t symbol, int bits, std::uint32_t delta) {
                        table.entries[state] = {.bits = static_cast<std::uint8_t>(bits),
                                                .symbol = static_cast<std::uint8_t>(symbol),
                                                .delta = static_cast<std::uint16_t>(delta)};
                      });
}

bool buildTables(const Frequencies& frequencies, Symbols symbols, TripletTables& tables) {
  return buildValueTable(frequencies.literalRuns(), symbols, kLiteralRunRanges, tables.literalRuns) &&
         buildValueTable(frequencies.matchLengths(), symbols, kMatchLengthRanges, tables.matchLengths) &&
         buildValueTable(frequencies.distances(), symbols, kDistanceRanges, tables.distances);
}

}  // namespace tovrin::lzfse
