#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "lzfse/bytes.h"

/// Copies in wide pieces that go past the wanted length: cheaper than an exact copy of so few bytes. Every buffer that
/// is copied from or to must have `kCopySlack` bytes behind its end that may be read and overwritten.
namespace tovrin::lzfse {

inline constexpr std::size_t kCopySlack = 32;

inline void copy16(std::uint8_t* to, const std::uint8_t* from) { std::memcpy(to, from, 16); }

/// Copies 16 bytes at a time in ascending order. `from` lies outside of what is written, or 16 bytes or more before
/// `to`.
inline void wideCopy(std::uint8_t* to, const std::uint8_t* from, std::size_t count) {
  copy16(to, from);
  if (count <= 16) [[likely]]
    return;
  const std::uint8_t* const end = to + count;
  do {
    to += 16;
    from += 16;
    copy16(to, from);
  } while (to + 16 < end);
}

/// Repeats the last `period` bytes before `to`, for periods from 1 to 15.
inline void repeatShortPeriod(std::uint8_t* to, std::size_t period, std::size_t count) {
  const std::uint8_t* const end = to + count;
  if (period >= 8) {
    for (; to < end; to += 8) std::memcpy(to, to - period, 8);
    return;
  }
  // Eight bytes of the pattern are made once and stored again and again, at steps of a whole number of periods, so that
  // no store waits for the one before it.
  constexpr std::array<std::uint64_t, 8> kReplicate{0,
                                                    0x0101010101010101,
                                                    0x0001000100010001,
                                                    0x0001000001000001,
                                                    0x0000000100000001,
                                                    0x0000010000000001,
                                                    1ULL << 48 | 1,
                                                    1ULL << 56 | 1};
  constexpr std::array<std::uint8_t, 8> kStep{0, 8, 8, 6, 8, 5, 6, 7};
  std::array<std::uint8_t, 8> pattern{};
  for (std::size_t i = 0; i < period; ++i) pattern[i] = to[i - period];
  const std::uint64_t repeated = loadLittleEndian<std::uint64_t>(pattern.data()) * kReplicate[period];
  storeLittleEndian(pattern.data(), repeated);
  for (; to < end; to += kStep[period]) std::memcpy(to, pattern.data(), 8);
}

/// Copies as if byte by byte from `distance` bytes back, so that bytes just written are repeated when it is short.
inline void copyMatch(std::uint8_t* to, std::size_t distance, std::size_t count) {
  if (distance < 16) [[unlikely]] {
    repeatShortPeriod(to, distance, count);
    return;
  }
  // Matches over 16 bytes are so common that a branch on them would often be mispredicted.
  const std::uint8_t* const from = to - distance;
  copy16(to, from);
  copy16(to + 16, from + 16);
  if (count > 32) [[unlikely]]
    wideCopy(to + 32, from + 32, count - 32);
}

}  // namespace tovrin::lzfse
