#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

namespace tovrin::json {

/// Appends `count` decimal digits, 1 to 8, to the number: all at once, in every step each half taking in its neighbour.
/// False when one of them is no digit. Reads eight bytes.
inline bool appendDigits(std::uint64_t& number, const char* text, std::size_t count) {
  constexpr std::uint64_t kZeros = 0x3030303030303030;
  constexpr std::uint64_t kHighHalves = 0xF0F0F0F0F0F0F0F0;
  std::uint64_t bytes = 0;
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(&bytes, text, sizeof bytes);
  } else {
    for (int i = 0; i < 8; ++i) bytes |= std::uint64_t{static_cast<unsigned char>(text[i])} << 8 * i;
  }
  const std::uint64_t digits = (bytes ^ kZeros) << 8 * (8 - count);  // zeros in front
  const std::uint64_t pairs = (digits * 10 + (digits >> 8)) & 0x00FF00FF00FF00FF;
  const std::uint64_t fours = (pairs * 100 + (pairs >> 16)) & 0x0000FFFF0000FFFF;
  number = number * 100'000'000 + ((fours * 10'000 + (fours >> 32)) & 0xFFFFFFFF);
  return ((digits | (digits + 0x0606060606060606)) & kHighHalves) == 0;
}

/// The number when it is written with nothing but one to 19 digits, as nearly every number is. The token lies in a
/// padded document: seven bytes behind it can be read.
inline std::optional<std::uint64_t> plainInteger(std::string_view token) {
  constexpr std::size_t kMostDigits = 19;
  if (token.empty() || token.size() > kMostDigits || (token.front() == '0' && token.size() > 1)) return std::nullopt;
  const char* const end = token.data() + token.size();
  const char* next = token.data() + ((token.size() - 1) % 8 + 1);
  std::uint64_t number = 0;
  bool isPlain = appendDigits(number, token.data(), static_cast<std::size_t>(next - token.data()));
  for (; next != end; next += 8) isPlain &= appendDigits(number, next, 8);
  return isPlain ? std::optional(number) : std::nullopt;
}

}  // namespace tovrin::json
