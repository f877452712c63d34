#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace tovrin::lzfse {

/// Reads an unaligned little-endian integer. All of its bytes must be readable.
template <std::unsigned_integral T>
T loadLittleEndian(const std::uint8_t* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  return value;
}

template <std::unsigned_integral T>
void storeLittleEndian(std::uint8_t* bytes, T value) {
  if constexpr (std::endian::native == std::endian::big) value = std::byteswap(value);
  std::memcpy(bytes, &value, sizeof value);
}

}  // namespace tovrin::lzfse
