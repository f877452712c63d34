#pragma once

#include <cstdint>
#include <string>

namespace tovrin::lzfse {

/// Writes numbers of up to 32 bits from the least significant bit of the first byte upwards.
class BitWriter {
 public:
  void write(std::uint32_t bits, int count) {
    pending_ |= std::uint64_t{bits} << pendingBits_;
    for (pendingBits_ += count; pendingBits_ >= 8; pendingBits_ -= 8, pending_ >>= 8) {
      bytes_.push_back(static_cast<char>(pending_ & 0xff));
    }
  }

  /// Fills the last byte up with zeros. Returns how many.
  int finish() {
    if (pendingBits_ == 0) return 0;
    const int unused = 8 - pendingBits_;
    write(0, unused);
    return unused;
  }

  const std::string& bytes() const { return bytes_; }

 private:
  std::string bytes_;
  std::uint64_t pending_ = 0;
  int pendingBits_ = 0;
};

}  // namespace tovrin::lzfse
