#include "foundation/json/scalars.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include <simdjson.h>

namespace tovrin::json {
namespace {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::size_t skipDigits(std::string_view text, std::size_t at) {
  while (at < text.size() && isDigit(text[at])) ++at;
  return at;
}

std::optional<std::uint64_t> unsignedValue(std::string_view digits) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || end != digits.data() + digits.size()) return std::nullopt;
  return value;
}

/// A double is exact below 2^53; from there on only the decimal digits tell every integer apart.
constexpr double kExactDoubleLimit = 9007199254740992.0;

std::optional<std::uint64_t> integralDecimal(std::string_view unsignedToken) {
  const std::size_t exponentAt = unsignedToken.find_first_of("eE");
  std::string_view mantissa = unsignedToken.substr(0, exponentAt);
  long exponent = 0;
  if (exponentAt != std::string_view::npos) {
    std::string_view text = unsignedToken.substr(exponentAt + 1);
    if (text.starts_with('+')) text.remove_prefix(1);
    if (std::from_chars(text.data(), text.data() + text.size(), exponent).ec != std::errc()) return std::nullopt;
  }
  const std::size_t point = mantissa.find('.');
  std::string digits(mantissa.substr(0, point));
  if (point != std::string_view::npos) {
    digits += mantissa.substr(point + 1);
    exponent -= static_cast<long>(mantissa.size() - point - 1);
  }
  while (!digits.empty() && digits.back() == '0') {
    digits.pop_back();
    ++exponent;
  }
  digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size()));
  if (digits.empty()) return 0;
  constexpr long kMostDigits = std::numeric_limits<std::uint64_t>::digits10 + 1;
  if (exponent < 0 || exponent + static_cast<long>(digits.size()) > kMostDigits) return std::nullopt;
  digits.append(static_cast<std::size_t>(exponent), '0');
  return unsignedValue(digits);
}

}  // namespace

std::string_view describe(ValueKind kind) {
  switch (kind) {
    case ValueKind::absent:
      return "nothing";
    case ValueKind::null:
      return "null";
    case ValueKind::boolean:
      return "bool";
    case ValueKind::number:
      return "number";
    case ValueKind::string:
      return "a string";
    case ValueKind::array:
      return "an array";
    case ValueKind::object:
      return "a dictionary";
  }
  return {};
}

bool isNumber(std::string_view token) {
  std::size_t at = token.starts_with('-') ? 1 : 0;
  const std::size_t whole = at;
  at = skipDigits(token, at);
  if (at == whole || (token[whole] == '0' && at - whole > 1)) return false;
  if (at < token.size() && token[at] == '.') {
    const std::size_t fraction = ++at;
    at = skipDigits(token, at);
    if (at == fraction) return false;
  }
  if (at < token.size() && (token[at] == 'e' || token[at] == 'E')) {
    ++at;
    if (at < token.size() && (token[at] == '+' || token[at] == '-')) ++at;
    const std::size_t exponent = at;
    at = skipDigits(token, at);
    if (at == exponent) return false;
  }
  return at == token.size();
}

std::optional<WideInteger> integerValue(std::string_view token) {
  const bool negative = token.starts_with('-');
  const std::string_view unsignedToken = token.substr(negative ? 1 : 0);
  if (const auto plain = unsignedValue(unsignedToken)) return WideInteger{negative, *plain};
  const auto approximate = doubleValue(unsignedToken);
  if (approximate && *approximate < kExactDoubleLimit) {
    if (std::trunc(*approximate) != *approximate) return std::nullopt;
    return WideInteger{negative, static_cast<std::uint64_t>(*approximate)};
  }
  if (const auto exact = integralDecimal(unsignedToken)) return WideInteger{negative, *exact};
  return std::nullopt;
}

std::optional<double> doubleValue(std::string_view token) {
  const std::string_view mantissa = token.substr(0, token.find_first_of("eE"));
  if (mantissa.find_first_of("123456789") == std::string_view::npos) return token.starts_with('-') ? -0.0 : 0.0;
  // Not std::from_chars: macOS before 26 has none for doubles.
  thread_local simdjson::ondemand::parser parser;
  const simdjson::padded_string text(token);
  simdjson::ondemand::document document;
  double value = 0;
  if (parser.iterate(text).get(document) != simdjson::SUCCESS) return std::nullopt;
  if (document.get_double().get(value) != simdjson::SUCCESS || value == 0) return std::nullopt;
  return value;
}

}  // namespace tovrin::json
