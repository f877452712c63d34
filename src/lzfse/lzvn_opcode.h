#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "lzfse/limits.h"

/// The opcodes of LZVN blocks: literals to take over, then a match to repeat.
namespace tovrin::lzfse {

/// What the first byte of an opcode says, and which bits of the opcode, read as a little-endian number, add to that.
/// With masks for every kind of opcode, none needs a branch of its own. Aligned to a power of two, it is found faster.
struct alignas(16) LZVNOpcode {
  std::uint8_t size = 0;  ///< bytes of the opcode, without its literals; 0 for an undefined one, 8 for the block's end
  std::uint8_t literals = 0;
  std::uint8_t match = 0;
  std::uint8_t literalsMask = 0;  ///< of the second byte
  std::uint8_t matchMask = 0;     ///< of the second byte
  std::uint8_t distanceShift = 0;
  std::uint8_t farMask = 0;                 ///< of the first byte, for the distance's bits from the eighth
  std::uint16_t nearMask = 0;               ///< of the second and third byte
  std::uint16_t sameDistanceMask = 0xffff;  ///< of the latest distance: all of it where the opcode has none
};

constexpr LZVNOpcode lzvnOpcode(std::uint8_t first) {
  const auto literals = static_cast<std::uint8_t>(first >> 6);
  const auto match = static_cast<std::uint8_t>((first >> 3 & 7) + 3);
  const auto low = static_cast<std::uint8_t>(first & 15);
  if (first == 0x06) return {.size = kLZVNEndMarkerBytes};
  if (first == 0x0e || first == 0x16) return {.size = 1};
  if (first < 0x40 && (first & 7) == 6) return {};
  switch (first >> 4) {
    case 0x7:
    case 0xd:
      return {};
    case 0xa:
    case 0xb:  // 101LLMMM DDDDDDMM DDDDDDDD
      return {.size = 3,
              .literals = static_cast<std::uint8_t>(first >> 3 & 3),
              .match = static_cast<std::uint8_t>(((first & 7) << 2) + 3),
              .matchMask = 3,
              .distanceShift = 2,
              .nearMask = 0xffff,
              .sameDistanceMask = 0};
    case 0xe:  // 11100000 LLLLLLLL or 1110LLLL
      if (low == 0) return {.size = 2, .literals = 16, .literalsMask = 0xff};
      return {.size = 1, .literals = low};
    case 0xf:  // 11110000 MMMMMMMM or 1111MMMM
      if (low == 0) return {.size = 2, .match = 16, .matchMask = 0xff};
      return {.size = 1, .match = low};
    default:
      break;
  }
  if ((first & 7) == 7) {  // LLMMM111 DDDDDDDD DDDDDDDD
    return {.size = 3, .literals = literals, .match = match, .nearMask = 0xffff, .sameDistanceMask = 0};
  }
  if ((first & 7) == 6) return {.size = 1, .literals = literals, .match = match};  // LLMMM110
  // LLMMMDDD DDDDDDDD
  return {.size = 2, .literals = literals, .match = match, .farMask = 7, .nearMask = 0xff, .sameDistanceMask = 0};
}

inline constexpr auto kLZVNOpcodes = [] {
  std::array<LZVNOpcode, 256> opcodes{};
  for (std::size_t first = 0; first < opcodes.size(); ++first) {
    opcodes[first] = lzvnOpcode(static_cast<std::uint8_t>(first));
  }
  return opcodes;
}();

/// Literals to take over from behind an opcode, and a match to repeat.
struct LZVNStep {
  std::uint32_t literals;
  std::uint32_t match;
  std::uint32_t distance;  ///< 0 when there is none yet
};

/// `bytes` are the opcode's, as a little-endian number; what is above them does not matter.
inline LZVNStep stepOf(const LZVNOpcode& opcode, std::uint32_t bytes, std::uint32_t latestDistance) {
  const std::uint32_t behind = bytes >> 8;
  const std::uint32_t ownDistance =
      ((behind & opcode.nearMask) | (bytes & opcode.farMask) << 8) >> opcode.distanceShift;
  return {.literals = opcode.literals + (behind & opcode.literalsMask),
          .match = opcode.match + (behind & opcode.matchMask),
          .distance = ownDistance | (latestDistance & opcode.sameDistanceMask)};
}

}  // namespace tovrin::lzfse
