#pragma once

#include <array>
#include <cstdint>

#include "lzfse/frequencies.h"

/// Finite state entropy: a state names a symbol and how many bits to read; those bits, added to `delta`, are the next
/// state. States of one symbol lie together, in the order of the symbols.
namespace tovrin::lzfse {

struct LiteralEntry {
  std::uint8_t bits;
  std::uint8_t symbol;
  std::uint16_t delta;
};

/// `bits` are read, of which the lowest `extra` are added to `base` to give the value; those above are for the state.
struct ValueEntry {
  std::uint32_t base;
  std::uint16_t delta;
  std::uint8_t bits;
  std::uint8_t extra;
};

struct LiteralTable {
  std::array<LiteralEntry, kLiteralStates> entries;
};

/// The three tables of one block's triplets.
struct TripletTables {
  std::array<ValueEntry, kLiteralRunStates> literalRuns;
  std::array<ValueEntry, kMatchLengthStates> matchLengths;
  std::array<ValueEntry, kDistanceStates> distances;
};

/// Whether a block has any symbols of the alphabet. If it has none, no table is built.
enum class Symbols { none, some };

/// False when the frequencies add up to more than the states, or to less while there are symbols: a state without an
/// entry could be reached.
[[nodiscard]] bool buildTable(const Frequencies& frequencies, Symbols symbols, LiteralTable& table);
[[nodiscard]] bool buildTables(const Frequencies& frequencies, Symbols symbols, TripletTables& tables);

}  // namespace tovrin::lzfse
