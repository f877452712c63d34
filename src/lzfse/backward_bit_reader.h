#pragma once

#include <cstddef>
#include <cstdint>

#include "lzfse/bytes.h"

namespace tovrin::lzfse {

/// How many bytes behind a payload must be readable, besides the 7 in front of it: loads touch them, but nothing is
/// read from them.
inline constexpr std::size_t kReadBehind = 1;

/// Reads a payload from its last byte to its first, and each byte from its most significant bit downwards.
class BackwardBitReader {
 public:
  /// Has nothing to read; to be assigned to.
  BackwardBitReader() = default;
  /// `unusedBits` are the topmost ones of the last byte.
  BackwardBitReader(const std::uint8_t* payload, std::size_t bytes, std::uint32_t unusedBits)
      : base_(payload - 7), left_(static_cast<std::int64_t>(bytes * 8 - unusedBits)) {}

  /// Bits that hold no data must be 0.
  static bool unusedBitsAreClear(const std::uint8_t* payload, std::size_t bytes, std::uint32_t unusedBits) {
    return unusedBits == 0 || (bytes > 0 && payload[bytes - 1] >> (8 - unusedBits) == 0);
  }

  /// A copy of the next 56 bits or more.
  class Next {
   public:
    template <class Bits>
    [[gnu::always_inline]] std::uint64_t take(std::uint64_t count) {
      ready_ -= count;
      return Bits::lowest(bits_ >> (ready_ & 63), count);
    }

   private:
    friend class BackwardBitReader;
    Next(std::uint64_t bits, std::uint64_t ready) : bits_(bits), ready_(ready) {}

    std::uint64_t bits_;
    std::uint64_t ready_;  ///< modulo 64: how many of the low bits are not taken yet
  };

  Next next() const {
    return {loadLittleEndian<std::uint64_t>(base_ + (left_ >> 3)), static_cast<std::uint64_t>(left_) | 56};
  }

  /// Steps over bits that were, or will be, taken. False when there are fewer: they must not be used.
  [[nodiscard]] bool skip(std::uint64_t count) {
    left_ -= static_cast<std::int64_t>(count);
    return left_ >= 0;
  }

 private:
  const std::uint8_t* base_ = nullptr;  ///< where the load for the first 8 bits begins
  std::int64_t left_ = 0;               ///< bits
};

}  // namespace tovrin::lzfse
