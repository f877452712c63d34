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

std::size_t columnsOfCharacter(const UTF8Character& character) {
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

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  while (!text.empty()) {
    const UTF8Character character = frontCharacter(text);
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
    const UTF8Character character = frontCharacter(text);
    used += columnsOfCharacter(character);
    if (used > columns) return result + "…";
    result += text.substr(0, character.bytes);
    text.remove_prefix(character.bytes);
  }
}

std::string counted(std::uint64_t count, std::string_view singular) {
  return fmt::format("{} {}{}", count, singular, count == 1 ? "" : "s");
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
