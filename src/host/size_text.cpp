#include "host/size_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <string>

namespace tovrin::host {

namespace {

/// What a unit in capitals stands for.
std::optional<double> factorOf(std::string_view unit) {
  if (unit.empty() || unit == "B") return 1;
  constexpr std::string_view kPowers = "KMGTPE";
  const std::size_t power = kPowers.find(unit.front());
  if (power == std::string_view::npos) return std::nullopt;
  const std::string_view rest = unit.substr(1);
  if (!rest.empty() && rest != "IB" && rest != "B") return std::nullopt;
  return std::pow(rest == "B" ? 1000 : 1024, static_cast<double>(power + 1));
}

}  // namespace

std::optional<std::int64_t> parseSize(std::string_view text) {
  double number = 0;
  const char* end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  if (parsed.ec != std::errc() || !(number >= 0)) return std::nullopt;
  std::string unit(parsed.ptr, end);
  if (unit.starts_with(' ')) unit.erase(0, 1);
  std::ranges::transform(unit, unit.begin(), [](unsigned char letter) { return std::toupper(letter); });
  const auto factor = factorOf(unit);
  constexpr double kTooMuch = 9e18;
  if (!factor || number * *factor >= kTooMuch) return std::nullopt;
  return static_cast<std::int64_t>(number * *factor);
}

}  // namespace tovrin::host
