#include "cli/output.h"

#include <fmt/core.h>
#include <unistd.h>
#include <wchar.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>

namespace tovrin::cli {

namespace {

struct Character {
  char32_t value = 0;
  std::size_t bytes = 1;
  bool valid = false;
};

/// The character at the front of a text that is not empty; one byte that is not valid when it is not UTF-8.
Character frontCharacter(std::string_view text) {
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
  for (const char byte : bytes) text += fmt::format("\\{:03o}", static_cast<unsigned char>(byte));
  return text;
}

std::size_t columnsOfCharacter(const Character& character) {
  if (!character.valid) return 1;
  const int width = wcwidth(static_cast<wchar_t>(character.value));
  return width > 0 ? static_cast<std::size_t>(width) : 0;
}

}  // namespace

Result<void> writeStandardOutput(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return failure(NSError::posix(errno));
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return {};
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = frontCharacter(text);
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

std::string repairedUTF8(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const Character character = frontCharacter(text);
    result += character.valid ? text.substr(0, character.bytes) : std::string_view("\uFFFD");
    text.remove_prefix(character.bytes);
  }
  return result;
}

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const Character character = frontCharacter(text);
    columns += columnsOfCharacter(character);
    text.remove_prefix(character.bytes);
  }
  return columns;
}

std::string fitted(std::string_view text, std::size_t columns) {
  if (columnsOf(text) <= columns) return std::string(text);
  if (columns == 0) return {};
  std::string result;
  std::size_t used = 1;  // the ellipsis
  while (true) {
    const Character character = frontCharacter(text);
    used += columnsOfCharacter(character);
    if (used > columns) return result + "…";
    result += text.substr(0, character.bytes);
    text.remove_prefix(character.bytes);
  }
}

std::string counted(std::uint64_t count, std::string_view singular) {
  return fmt::format("{} {}{}", count, singular, count == 1 ? "" : "s");
}

std::string readableSize(std::int64_t bytes) {
  if (bytes < 1024) return counted(static_cast<std::uint64_t>(bytes), "byte");
  constexpr std::array kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  double size = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (size >= 1023.95 && unit + 1 < kUnits.size()) {
    size /= 1024;
    ++unit;
  }
  return fmt::format("{:.1f} {}", size, kUnits[unit]);
}

std::string readableDate(Date date) {
  const auto seconds = static_cast<std::time_t>(std::floor(date.secondsSince1970));
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return formatISO8601(date);
  std::array<char, 64> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M", &local);
  return {text.data(), length};
}

}  // namespace tovrin::cli
