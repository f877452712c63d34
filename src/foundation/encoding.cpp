#include "foundation/encoding.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace tovrin {

namespace {

constexpr std::string_view kBase64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kNotBase64 = 0x80;

constexpr std::array<std::uint8_t, 256> kBase64Values = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNotBase64);
  for (std::size_t i = 0; i < kBase64Alphabet.size(); ++i) {
    values[static_cast<unsigned char>(kBase64Alphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

std::uint32_t byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

}  // namespace

std::string base64Encode(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(bytes.size() - i, 3);
    std::uint32_t group = byteAt(bytes, i) << 16;
    if (count > 1) group |= byteAt(bytes, i + 1) << 8;
    if (count > 2) group |= byteAt(bytes, i + 2);
    text += kBase64Alphabet[group >> 18];
    text += kBase64Alphabet[group >> 12 & 63];
    text += count > 1 ? kBase64Alphabet[group >> 6 & 63] : '=';
    text += count > 2 ? kBase64Alphabet[group & 63] : '=';
  }
  return text;
}

std::optional<std::string> base64Decode(std::string_view text) {
  const std::size_t digits = text.find_last_not_of('=') + 1;
  const std::size_t paddedLength = (digits + 3) / 4 * 4;
  if (digits % 4 == 1 || text.size() < paddedLength) return std::nullopt;
  if (digits == 0 && text.size() >= 4) return std::string(1, '\0');

  std::string bytes;
  bytes.reserve(digits / 4 * 3 + 2);
  std::uint32_t group = 0;
  std::uint32_t bits = 0;
  for (const char c : text.substr(0, digits)) {
    const std::uint32_t value = kBase64Values[static_cast<unsigned char>(c)];
    if (value == kNotBase64) return std::nullopt;
    group = (group << 6 | value) & 0xFFFF;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes += static_cast<char>(group >> bits & 0xFF);
    }
  }
  return bytes;
}

std::string hexEncode(std::span<const std::byte> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::byte byte : bytes) {
    text += kDigits[std::to_integer<std::size_t>(byte >> 4)];
    text += kDigits[std::to_integer<std::size_t>(byte & std::byte{15})];
  }
  return text;
}

bool isASCII(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::uint64_t bits = 0;
  for (; text.size() >= sizeof bits; text.remove_prefix(sizeof bits)) {
    std::uint64_t eightBytes = 0;
    std::memcpy(&eightBytes, text.data(), sizeof eightBytes);
    bits |= eightBytes;
  }
  for (const char c : text) bits |= static_cast<unsigned char>(c);
  return (bits & kHighBits) == 0;
}

bool isValidUTF8(std::string_view bytes) { return simdjson::validate_utf8(bytes.data(), bytes.size()); }

}  // namespace tovrin
