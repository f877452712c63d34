#pragma once

#include <cstddef>
#include <cstdint>

#include "lzfse/bytes.h"

namespace tovrin::lzfse {

/// Reads a payload from its last byte to its first, and each byte from its most significant bit downwards.
///
/// `refill` makes at least 57 bits ready with one unaligned load; `take` and `read` use those without a check. The
/// loads touch up to 8 bytes in front of the payload, which must therefore be readable; their bits are never part of a
/// valid stream, and `overrun` tells whether they were read.
class BackwardBitReader {
 public:
  /// Has nothing to read; to be assigned to.
  BackwardBitReader() = default;
  /// `unusedBits` are the topmost ones of the last byte.
  BackwardBitReader(const std::uint8_t* payload, std::size_t bytes, std::uint32_t unusedBits)
      : lowest_(payload - 8),
        next_(payload + bytes - 8),
        bits_(loadLittleEndian<std::uint64_t>(next_)),
        ready_(64 - unusedBits) {}

  /// Bits that hold no data must be 0.
  static bool unusedBitsAreClear(const std::uint8_t* payload, std::size_t bytes, std::uint32_t unusedBits) {
    return unusedBits == 0 || (bytes > 0 && payload[bytes - 1] >> (8 - unusedBits) == 0);
  }

  /// False when the reader has left the payload: what was read since the last refill cannot be trusted.
  [[nodiscard]] bool refill() {
    const std::uint32_t usedBytes = (64 - ready_) / 8;
    next_ -= usedBytes;
    if (next_ < lowest_) [[unlikely]]
      return false;
    bits_ = loadLittleEndian<std::uint64_t>(next_);
    ready_ += usedBytes * 8;
    return true;
  }

  /// The next `count` bits and, above them, some that were taken before.
  std::uint64_t take(std::uint32_t count) {
    ready_ -= count;
    return bits_ >> (ready_ & 63);
  }

  std::uint64_t read(std::uint32_t count) { return take(count) & ((std::uint64_t{1} << count) - 1); }

  bool overrun() const { return (next_ - lowest_) * 8 + static_cast<std::ptrdiff_t>(ready_) < 64; }

 private:
  const std::uint8_t* lowest_ = nullptr;
  const std::uint8_t* next_ = nullptr;  ///< where `bits_` was loaded from
  std::uint64_t bits_ = 0;
  std::uint32_t ready_ = 0;  ///< how many of the low bits of `bits_` are unread
};

}  // namespace tovrin::lzfse
