#include "lzfse/fse_table.h"

#include <bit>
#include <numeric>
#include <span>

#include "lzfse/symbol_ranges.h"

namespace tovrin::lzfse {
namespace {

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
