#include "lzfse/frequencies.h"

#include <algorithm>

#include "lzfse/bytes.h"
#include "lzfse/limits.h"

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

constexpr std::size_t kMostPackedBytes = kMaxPackedHeaderBytes - kPackedHeaderBytes;

}  // namespace

std::optional<Frequencies> unpackFrequencies(std::span<const std::uint8_t> packed) {
  Frequencies frequencies{};
  if (packed.empty()) return frequencies;
  if (packed.size() > kMostPackedBytes) return std::nullopt;

  // Behind the codes come zeros, which are codes as well: whether there were enough is seen at the end.
  std::array<std::uint8_t, kMostPackedBytes + sizeof(std::uint64_t)> bytes{};
  std::ranges::copy(packed, bytes.begin());
  std::size_t used = 0;
  for (auto frequency = frequencies.all.begin(); frequency != frequencies.all.end();) {
    auto bits = loadLittleEndian<std::uint64_t>(&bytes[used / 8]) >> used % 8;
    // Four codes are 56 bits at most, which are always there.
    for (const auto end = frequency + 4; frequency != end; ++frequency) {
      const Code code = kCodes[bits & 15];
      const std::uint64_t offset = (bits & ((1U << code.bits) - 1)) >> code.prefixBits;
      *frequency = static_cast<std::uint16_t>(code.base + offset);
      bits >>= code.bits;
      used += code.bits;
    }
  }
  if ((used + 7) / 8 != packed.size()) return std::nullopt;
  return frequencies;
}

}  // namespace tovrin::lzfse
