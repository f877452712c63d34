#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The opcodes of LZVN blocks: literals to take over, then a match to repeat.
namespace tovrin::lzfse {

/// What the first byte of an opcode says. Its other bytes add to the literals, the match and the distance.
struct LZVNOpcode {
  enum class Kind : std::uint8_t {
    undefined,
    end,
    complete,        ///< literals and match are as given here; the distance, if any, is the latest one
    smallDistance,   ///< LLMMMDDD DDDDDDDD
    mediumDistance,  ///< 101LLMMM DDDDDDMM DDDDDDDD
    largeDistance,   ///< LLMMM111 DDDDDDDD DDDDDDDD
    largeLiteral,    ///< 11100000 LLLLLLLL
    largeMatch,      ///< 11110000 MMMMMMMM
  };
  Kind kind;
  std::uint8_t size;  ///< bytes of the opcode, without its literals
  std::uint8_t literals;
  std::uint8_t match;
};

inline constexpr std::size_t kLongestLZVNOpcode = 8;

constexpr LZVNOpcode lzvnOpcode(std::uint8_t first) {
  using enum LZVNOpcode::Kind;
  const auto literals = static_cast<std::uint8_t>(first >> 6);
  const auto match = static_cast<std::uint8_t>((first >> 3 & 7) + 3);
  const auto low = static_cast<std::uint8_t>(first & 15);
  if (first == 0x06) return {end, 8, 0, 0};
  if (first == 0x0e || first == 0x16) return {complete, 1, 0, 0};
  if (first < 0x40 && (first & 7) == 6) return {undefined, 1, 0, 0};
  switch (first >> 4) {
    case 0x7:
    case 0xd:
      return {undefined, 1, 0, 0};
    case 0xa:
    case 0xb:
      return {mediumDistance, 3, static_cast<std::uint8_t>(first >> 3 & 3),
              static_cast<std::uint8_t>(((first & 7) << 2) + 3)};
    case 0xe:
      return low == 0 ? LZVNOpcode{largeLiteral, 2, 16, 0} : LZVNOpcode{complete, 1, low, 0};
    case 0xf:
      return low == 0 ? LZVNOpcode{largeMatch, 2, 0, 16} : LZVNOpcode{complete, 1, 0, low};
    default:
      break;
  }
  if ((first & 7) == 7) return {largeDistance, 3, literals, match};
  if ((first & 7) == 6) return {complete, 1, literals, match};
  return {smallDistance, 2, literals, match};
}

inline constexpr auto kLZVNOpcodes = [] {
  std::array<LZVNOpcode, 256> opcodes{};
  for (std::size_t first = 0; first < opcodes.size(); ++first) {
    opcodes[first] = lzvnOpcode(static_cast<std::uint8_t>(first));
  }
  return opcodes;
}();

}  // namespace tovrin::lzfse
