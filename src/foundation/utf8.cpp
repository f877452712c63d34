#include "foundation/utf8.h"

#include <array>

namespace tovrin {

namespace {

bool isUnsafeOnTerminal(char32_t value) {
  return value < 0x20 || (value >= 0x7F && value < 0xA0) || value == 0x061C || value == 0x200E || value == 0x200F ||
         value == 0x2028 || value == 0x2029 || (value >= 0x202A && value <= 0x202E) ||
         (value >= 0x2066 && value <= 0x2069);
}

std::string escaped(std::string_view bytes) {
  constexpr std::string_view kNamed = "abtnvfr";  // the bytes 7 to 13, in order
  if (bytes.size() == 1 && bytes[0] >= '\a' && bytes[0] <= '\r') {
    return {'\\', kNamed[static_cast<std::size_t>(bytes[0] - '\a')]};
  }
  std::string text;
  for (const char byte : bytes) {
    text += '\\';
    for (const int shift : {6, 3, 0})
      text += static_cast<char>('0' + ((static_cast<unsigned char>(byte) >> shift) & 7));
  }
  return text;
}

}  // namespace

UTF8Character frontCharacter(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return {lead, 1, true};
  const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {};
  char32_t value = lead & (0xFF >> (bytes + 1));
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return {};
    value = value << 6 | (byteAt(i) & 0x3F);
  }
  constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
  if (value < kSmallest[bytes] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return {};
  return {value, bytes, true};
}

std::string repairedUTF8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const UTF8Character character = frontCharacter(text);
    result += character.valid ? text.substr(0, character.bytes) : std::string_view("\uFFFD");
    text.remove_prefix(character.bytes);
  }
  return result;
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const UTF8Character character = frontCharacter(text);
    const std::string_view bytes = text.substr(0, character.bytes);
    if (!character.valid || isUnsafeOnTerminal(character.value)) {
      result += escaped(bytes);
    } else if (character.value == '\\') {
      result += "\\\\";
    } else {
      result += bytes;
    }
    text.remove_prefix(character.bytes);
  }
  return result;
}

}  // namespace tovrin
