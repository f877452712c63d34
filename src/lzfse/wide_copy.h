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

/// In two steps, so that `to` may be 16 bytes behind `from`.
inline void copy32(std::uint8_t* to, const std::uint8_t* from) {
  copy16(to, from);
  copy16(to + 16, from + 16);
}

/// Copies in ascending order. `from` lies outside of what is written, or 16 bytes or more before `to`.
inline void wideCopy(std::uint8_t* to, const std::uint8_t* from, std::size_t count) {
  copy16(to, from);
  if (count <= 16) [[likely]]
    return;
  for (std::size_t done = 16; done < count; done += 32) copy32(to + done, from + done);
}

/// By periods from 1 to 7: what eight bytes with only the first `period` of them set are multiplied by to repeat these,
/// and the whole number of periods that then fit into the eight.
inline constexpr std::array<std::uint64_t, 8> kRepeat{0,
                                                      0x0101010101010101,
                                                      0x0001000100010001,
                                                      0x0001000001000001,
                                                      0x0000000100000001,
                                                      1ULL << 40 | 1,
                                                      1ULL << 48 | 1,
                                                      1ULL << 56 | 1};
inline constexpr std::array<std::uint8_t, 8> kRepeatedBytes{0, 8, 8, 6, 8, 5, 6, 7};

/// Repeats the last `period` bytes before `to`, for periods from 1 to 15.
inline void repeatShortPeriod(std::uint8_t* to, std::size_t period, std::size_t count) {
  const std::uint8_t* const end = to + count;
  if (period >= 8) {
    for (; to < end; to += 8) std::memcpy(to, to - period, 8);
    return;
  }
  // Made once and stored again and again, so that no store waits for the one before it.
  const auto before = loadLittleEndian<std::uint64_t>(to - period);
  const std::uint64_t pattern = (before & ((std::uint64_t{1} << 8 * period) - 1)) * kRepeat[period];
  for (; to < end; to += kRepeatedBytes[period]) storeLittleEndian(to, pattern);
}

/// Copies as if byte by byte from `distance` bytes back, so that bytes just written are repeated when it is short.
inline void copyMatch(std::uint8_t* to, std::size_t distance, std::size_t count) {
  if (distance < 16) [[unlikely]] {
    repeatShortPeriod(to, distance, count);
    return;
  }
  // Matches over 16 bytes are so common that a branch on them would often be mispredicted, and so would the number of
  // turns in a loop for those over 32, most of which are not over 64.
  const std::uint8_t* const from = to - distance;
  copy32(to, from);
  if (count <= 32) [[likely]]
    return;
  copy32(to + 32, from + 32);
  for (std::size_t done = 64; done < count; done += 32) copy32(to + done, from + done);
}

}  // namespace tovrin::lzfse
