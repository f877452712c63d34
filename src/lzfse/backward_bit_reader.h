#pragma once

#include <cstddef>
#include <cstdint>

#include "lzfse/bytes.h"

namespace tovrin::lzfse {

/// Reads a payload from its last byte to its first, and each byte from its most significant bit downwards.
///
/// `refill` makes at least 57 bits ready with one unaligned load; `read` takes from those without a check. The loads
/// touch up to 8 bytes in front of the payload, which must therefore be readable; their bits are never part of a valid
/// stream, and `overrun` tells whether one read them.
class BackwardBitReader {
 public:
  /// `unusedBits` are the topmost ones of the last byte.
  BackwardBitReader(const std::uint8_t* payload, std::size_t bytes, unsigned unusedBits)
      : lowest_(payload - 8), next_(payload + bytes - 8), ready_(64 - unusedBits) {
    bits_ = loadLittleEndian<std::uint64_t>(next_);
  }

  /// False when the reader has left the payload: nothing that was read since the last refill can be trusted.
  [[nodiscard]] bool refill() {
    const unsigned usedBytes = (64 - ready_) / 8;
    next_ -= usedBytes;
    if (next_ < lowest_) [[unlikely]]
      return false;
    bits_ = loadLittleEndian<std::uint64_t>(next_);
    ready_ += usedBytes * 8;
    return true;
  }

  std::uint64_t read(unsigned count) {
    ready_ -= count;
    return bits_ >> (ready_ & 63) & ((std::uint64_t{1} << count) - 1);
  }

  bool overrun() const { return (next_ - lowest_) * 8 + static_cast<std::ptrdiff_t>(ready_) < 64; }

 private:
  const std::uint8_t* lowest_;
  const std::uint8_t* next_;  ///< where `bits_` was loaded from
  std::uint64_t bits_;
  unsigned ready_;  ///< how many of the low bits of `bits_` are unread
};

}  // namespace tovrin::lzfse
