#include "lzfse/fse_table.h"

#include <bit>
#include <numeric>
#include <span>

#include "lzfse/symbol_ranges.h"

namespace tovrin::lzfse {
namespace {

/// Fills a table with `entryFor(symbol, bits, delta)`.
template <class Entry, class EntryFor>
bool fillTable(Frequencies::View frequencies, Symbols symbols, std::span<Entry> table, EntryFor entryFor) {
  const auto states = static_cast<std::uint32_t>(table.size());
  const std::uint32_t sum = std::accumulate(frequencies.begin(), frequencies.end(), 0U);
  if (symbols == Symbols::none) return sum <= states;
  if (sum != states) return false;
  auto entry = table.begin();
  for (std::size_t symbol = 0; symbol < frequencies.size(); ++symbol) {
    // With as many bits as bring it into the range from `states` to twice that, each of these numbers leads to other
    // states than the next one, and all of them together to every state.
    const std::uint32_t frequency = frequencies[symbol];
    for (std::uint32_t number = frequency; number < 2 * frequency; ++number) {
      const int bits = std::countl_zero(number) - std::countl_zero(states);
      *entry++ = entryFor(symbol, bits, (number << bits) - states);
    }
  }
  return true;
}

bool fillValueTable(Frequencies::View frequencies, Symbols symbols, std::span<const ValueRange> ranges,
                    std::span<ValueEntry> table) {
  return fillTable(frequencies, symbols, table, [&](std::size_t symbol, int bits, std::uint32_t delta) {
    const ValueRange& range = ranges[symbol];
    return ValueEntry{.base = range.base,
                      .delta = static_cast<std::uint16_t>(delta),
                      .bits = static_cast<std::uint8_t>(bits + range.extra),
                      .extra = range.extra};
  });
}

}  // namespace

bool buildTable(const Frequencies& frequencies, Symbols symbols, LiteralTable& table) {
  return fillTable(frequencies.literals(), symbols, std::span<LiteralEntry>(table.entries),
                   [](std::size_t symbol, int bits, std::uint32_t delta) {
                     return LiteralEntry{.bits = static_cast<std::uint8_t>(bits),
                                         .symbol = static_cast<std::uint8_t>(symbol),
                                         .delta = static_cast<std::uint16_t>(delta)};
                   });
}

bool buildTables(const Frequencies& frequencies, Symbols symbols, TripletTables& tables) {
  return fillValueTable(frequencies.literalRuns(), symbols, kLiteralRunRanges, tables.literalRuns) &&
         fillValueTable(frequencies.matchLengths(), symbols, kMatchLengthRanges, tables.matchLengths) &&
         fillValueTable(frequencies.distances(), symbols, kDistanceRanges, tables.distances);
}

}  // namespace tovrin::lzfse
