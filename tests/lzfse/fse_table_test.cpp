#include "lzfse/fse_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "lzfse/symbol_ranges.h"

namespace tovrin::lzfse {
namespace {

/// Nothing but literal runs of one, three and five, which fill the other alphabets' first symbols.
Frequencies exampleFrequencies() {
  Frequencies frequencies{};
  frequencies.all[0] = 1;
  frequencies.all[1] = 3;
  frequencies.all[2] = 5;
  frequencies.all[3] = 55;
  frequencies.all[kLiteralRunSymbols] = kMatchLengthStates;
  frequencies.all[kLiteralRunSymbols + kMatchLengthSymbols] = kDistanceStates;
  return frequencies;
}

TEST(FSETable, givesEachSymbolStatesThatLeadToAllStates) {
  TripletTables tables;
  ASSERT_TRUE(buildTables(exampleFrequencies(), Symbols::some, tables));
  const std::vector<std::pair<int, int>> bitsAndDeltas{{6, 0},  {5, 32}, {4, 0}, {4, 16}, {4, 16},
                                                       {4, 32}, {4, 48}, {3, 0}, {3, 8}};
  for (std::size_t state = 0; state < bitsAndDeltas.size(); ++state) {
    EXPECT_EQ(tables.literalRuns[state].bits, bitsAndDeltas[state].first) << state;
    EXPECT_EQ(tables.literalRuns[state].delta, bitsAndDeltas[state].second) << state;
  }
}

TEST(FSETable, staysInAStateWhenThereIsOneSymbol) {
  TripletTables tables;
  ASSERT_TRUE(buildTables(exampleFrequencies(), Symbols::some, tables));
  for (std::size_t state = 0; state < tables.distances.size(); ++state) {
    EXPECT_EQ(tables.distances[state].bits, 0);
    EXPECT_EQ(tables.distances[state].delta, state);
  }
}

TEST(FSETable, leadsToNoStateBeyondTheLast) {
  TripletTables tables;
  ASSERT_TRUE(buildTables(exampleFrequencies(), Symbols::some, tables));
  for (const ValueEntry& entry : tables.literalRuns) {
    EXPECT_LE(entry.delta + (1U << (entry.bits - entry.extra)), kLiteralRunStates);
  }
}

TEST(FSETable, refusesFrequenciesThatDoNotFillTheStates) {
  TripletTables tables;
  for (const int change : {-1, 1}) {
    Frequencies frequencies = exampleFrequencies();
    frequencies.all[3] = static_cast<std::uint16_t>(frequencies.all[3] + change);
    EXPECT_FALSE(buildTables(frequencies, Symbols::some, tables));
  }
}

TEST(FSETable, letsTheFrequenciesOfAnUnusedAlphabetBeTooFewButNotTooMany) {
  LiteralTable table;
  Frequencies frequencies{};
  EXPECT_TRUE(buildTable(frequencies, Symbols::none, table));
  EXPECT_FALSE(buildTable(frequencies, Symbols::some, table));
  frequencies.all.back() = kLiteralStates + 1;
  EXPECT_FALSE(buildTable(frequencies, Symbols::none, table));
}

TEST(FSETable, doesNotWrapAroundWhenFrequenciesAreAdded) {
  LiteralTable table;
  Frequencies frequencies{};
  frequencies.all[kLiteralRunSymbols + kMatchLengthSymbols + kDistanceSymbols] = 65535;
  frequencies.all.back() = kLiteralStates + 1;
  EXPECT_FALSE(buildTable(frequencies, Symbols::some, table));
}

TEST(SymbolRanges, beginWhereThoseBeforeThemEnd) {
  EXPECT_EQ(kLiteralRunRanges[19].base, 60U);
  EXPECT_EQ(kMatchLengthRanges[17].base, 24U);
  EXPECT_EQ(kMatchLengthRanges[19].base, 312U);
  EXPECT_EQ(kDistanceRanges[31].base, 892U);
  EXPECT_EQ(kDistanceRanges[63].base, 229372U);
}

}  // namespace
}  // namespace tovrin::lzfse
