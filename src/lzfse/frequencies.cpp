#include "lzfse/frequencies.h"

namespace tovrin::lzfse {
namespace {

/// A family of codes: `bits` in all, of which those above the prefix are added to `base`.
struct Code {
  std::uint8_t bits;
  std::uint8_t prefixBits;
  std::uint8_t base;
};

constexpr Code codeFor(unsigned lowBits) {
  if ((lowBits & 3) == 0) return {2, 2, 0};
  if ((lowBits & 3) == 2) return {2, 2, 1};
  if ((lowBits & 7) == 1) return {3, 3, 2};
  if ((lowBits & 7) == 5) return {3, 3, 3};
  if ((lowBits & 7) == 3) return {5, 3, 4};
  if ((lowBits & 15) == 7) return {8, 4, 8};
  return {14, 4, 24};
}

constexpr auto kCodes = [] {
  std::array<Code, 16> codes{};
  for (unsigned bits = 0; bits < codes.size(); ++bits) codes[bits] = codeFor(bits);
  return codes;
}();

constexpr unsigned kLongestCode = 14;

}  // namespace

std::optional<Frequencies> unpackFrequencies(std::span<const std::uint8_t> packed) {
  Frequencies frequencies{};
  if (packed.empty()) return frequencies;

  std::uint32_t bits = 0;
  unsigned available = 0;
  std::size_t used = 0;
  for (std::uint16_t& frequency : frequencies.all) {
    for (; available < kLongestCode && used < packed.size(); ++used, available += 8) {
      bits |= std::uint32_t{packed[used]} << available;
    }
    const Code code = kCodes[bits & 15];
    if (code.bits > available) return std::nullopt;
    const std::uint32_t offset = (bits & ((1U << code.bits) - 1)) >> code.prefixBits;
    frequency = static_cast<std::uint16_t>(code.base + offset);
    bits >>= code.bits;
    available -= code.bits;
  }
  if (used < packed.size() || available >= 8) return std::nullopt;
  return frequencies;
}

}  // namespace tovrin::lzfse
