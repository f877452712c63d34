#include "lzfse_encoder/symbol_encoder.h"

#include <algorithm>
#include <bit>
#include <numeric>

namespace tovrin::lzfse {

std::vector<std::uint16_t> scaledFrequencies(std::span<const std::uint32_t> counts, std::uint32_t states) {
  std::vector<std::uint16_t> frequencies(counts.size());
  const std::uint64_t total = std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
  if (total == 0) {
    frequencies[0] = static_cast<std::uint16_t>(states);
    return frequencies;
  }
  std::int64_t left = states;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    if (counts[i] == 0) continue;
    frequencies[i] = static_cast<std::uint16_t>(std::max<std::uint64_t>(1, counts[i] * std::uint64_t{states} / total));
    left -= frequencies[i];
  }
  // What rounding left over, or took too much of, hurts the most frequent symbols least.
  while (left != 0) {
    std::uint16_t& largest = *std::ranges::max_element(frequencies);
    const std::int64_t change = left > 0 ? left : std::max<std::int64_t>(left, -((largest + 1) / 2));
    largest = static_cast<std::uint16_t>(largest + change);
    left -= change;
  }
  return frequencies;
}

SymbolEncoder::SymbolEncoder(std::span<const std::uint16_t> frequencies, std::uint32_t states) : states_(states) {
  std::uint32_t firstState = 0;
  for (const std::uint32_t frequency : frequencies) {
    const int bits = frequency == 0 ? 0 : std::countl_zero(frequency) - std::countl_zero(states);
    symbols_.push_back({firstState, frequency, bits, (2 * states >> bits) - frequency});
    firstState += frequency;
  }
}

void SymbolEncoder::encode(std::size_t symbol, std::uint32_t extra, int extraBits, std::uint32_t& state,
                           BitWriter& writer) const {
  const Symbol& encoded = symbols_[symbol];
  const std::uint32_t firstOfMoreBits = (encoded.frequency << encoded.bits) - states_;
  std::uint32_t index;
  int bits;
  if (state < firstOfMoreBits) {
    bits = encoded.bits - 1;
    index = encoded.withMoreBits + (state >> bits);
  } else {
    bits = encoded.bits;
    index = ((state + states_) >> bits) - encoded.frequency;
  }
  const std::uint32_t stateBits = state & ((1U << bits) - 1);
  writer.write(stateBits << extraBits | extra, bits + extraBits);
  state = encoded.firstState + index;
}

}  // namespace tovrin::lzfse
