#include "foundation/encoding.h"

#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "foundation/character_block.h"

namespace tovrin {

namespace {

constexpr std::string_view kBase64Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBase64URLAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
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

/// Four digits for three bytes; fewer for what is left in the end.
std::string base64Digits(std::string_view bytes, std::string_view alphabet) {
  std::string text((bytes.size() * 4 + 2) / 3, '\0');
  char* next = text.data();
  std::size_t at = 0;
  for (; at + 3 <= bytes.size(); at += 3, next += 4) {
    const std::uint32_t group = byteAt(bytes, at) << 16 | byteAt(bytes, at + 1) << 8 | byteAt(bytes, at + 2);
    next[0] = alphabet[group >> 18];
    next[1] = alphabet[group >> 12 & 63];
    next[2] = alphabet[group >> 6 & 63];
    next[3] = alphabet[group & 63];
  }
  if (at < bytes.size()) {
    const bool isPair = at + 1 < bytes.size();
    const std::uint32_t group = byteAt(bytes, at) << 16 | (isPair ? byteAt(bytes, at + 1) << 8 : 0);
    next[0] = alphabet[group >> 18];
    next[1] = alphabet[group >> 12 & 63];
    if (isPair) next[2] = alphabet[group >> 6 & 63];
  }
  return text;
}

}  // namespace

std::string base64Encode(std::string_view bytes) {
  std::string text = base64Digits(bytes, kBase64Alphabet);
  return text.append((4 - text.size() % 4) % 4, '=');
}

std::string base64URLEncode(std::string_view bytes) { return base64Digits(bytes, kBase64URLAlphabet); }

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
  if (text.size() < sizeof(CharacterBlock))
    return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  CharacterBlock bits{};
  forEachBlock(text, [&](const char* block) { bits |= blockAt(block); });
  return !holdsAnywhere(bits < 0);
}

bool isValidUTF8(std::string_view bytes) { return simdjson::validate_utf8(bytes.data(), bytes.size()); }

}  // namespace tovrin
