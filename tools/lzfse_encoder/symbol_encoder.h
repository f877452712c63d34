#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "lzfse_encoder/bit_writer.h"

namespace tovrin::lzfse {

/// Scales counts so that they add up to `states` and no symbol that occurs loses its place. Without any symbols, all
/// states go to the first.
std::vector<std::uint16_t> scaledFrequencies(std::span<const std::uint32_t> counts, std::uint32_t states);

/// The inverse of the decoder's table of one alphabet. Symbols are encoded from the last to the first; each takes the
/// state that the decoder is to be in after it, and gives the one before.
class SymbolEncoder {
 public:
  SymbolEncoder(std::span<const std::uint16_t> frequencies, std::uint32_t states);

  /// `extra` are bits of the symbol's value, which the decoder reads together with those of the state.
  void encode(std::size_t symbol, std::uint32_t extra, int extraBits, std::uint32_t& state, BitWriter& writer) const;

 private:
  struct Symbol {
    std::uint32_t firstState;
    std::uint32_t frequency;
    int bits;                    ///< of those states that read more
    std::uint32_t withMoreBits;  ///< how many they are; they come first
  };
  std::vector<Symbol> symbols_;
  std::uint32_t states_;
};

}  // namespace tovrin::lzfse
