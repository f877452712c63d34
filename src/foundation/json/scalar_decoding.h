#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "foundation/character_block.h"
#include "foundation/date.h"
#include "foundation/json/coding.h"
#include "foundation/json/located.h"
#include "foundation/json/plain_integer.h"
#include "foundation/json/scalars.h"
#include "foundation/json/status.h"

/// Texts, numbers, dates and enumerations, from where they were located.
namespace tovrin::json {

template <class T>
constexpr std::string_view swiftName() {
  if constexpr (std::same_as<T, bool>) return "Bool";
  if constexpr (std::same_as<T, double>) return "Double";
  if constexpr (std::same_as<T, std::int64_t>) return "Int64";
  if constexpr (std::same_as<T, std::uint64_t>) return "UInt64";
  if constexpr (std::same_as<T, std::uint32_t>) return "UInt32";
  if constexpr (std::same_as<T, std::uint16_t>) return "UInt16";
  if constexpr (std::same_as<T, Date>) return "Date";
  return "String";
}

/// Why a value is not of the kind that is wanted.
inline Status otherKind(Context& context, const Located& located, std::string_view wanted) {
  if (located.kind != ValueKind::null) return context.mismatch(wanted, located.kind);
  if (located.token != "null") return context.malformed();
  return context.failed(DecodingFailure::Kind::valueNotFound,
                        "Expected to decode " + std::string(wanted) + " but found null instead.");
}

inline Status doesNotFit(Context& context, std::string_view number, std::string_view type) {
  return context.failed(DecodingFailure::Kind::dataCorrupted,
                        "Parsed JSON number <" + std::string(number) + "> does not fit in " + std::string(type) + ".");
}

/// The text of a string: part of the document, or of the parser's memory when it has escapes. Sets `status` on failure.
inline std::string_view unescaped(ondemand::value& value, Context& context, Status& status) {
  std::string_view text;
  if (value.get_string().get(text)) status = context.malformed();
  return text;
}
/// Looks at a few characters behind the text too, which the document is padded for: true for one of those does no harm.
inline bool mayHaveEscapes(const char* text, std::size_t size) {
  CharacterBlock isEscape{};
  for (std::size_t at = 0; at < size; at += sizeof isEscape) isEscape |= blockAt(text + at) == '\\';
  return holdsAnywhere(isEscape);
}
inline std::string_view textOf(ondemand::value& value, const Located& located, Context& context, Status& status) {
  const char* const begin = located.token.data() + 1;
  const std::size_t size = located.token.size() - 2;
  if (mayHaveEscapes(begin, size)) return unescaped(value, context, status);
  return {begin, size};
}

template <std::integral T>
Status decodeInteger(std::string_view token, T& out, Context& context) {
  const auto plain = plainInteger(token);
  if (plain && *plain <= static_cast<std::uint64_t>(std::numeric_limits<T>::max())) [[likely]] {
    out = static_cast<T>(*plain);
    return nullptr;
  }
  if (!isNumber(token)) return context.malformed();
  const auto value = integerValue(token);
  const auto most = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
  const bool fits =
      value && (value->negative ? value->magnitude <= (std::is_signed_v<T> ? most + 1 : 0) : value->magnitude <= most);
  if (!fits) return doesNotFit(context, token, swiftName<T>());
  out = static_cast<T>(value->negative ? 0 - value->magnitude : value->magnitude);
  return nullptr;
}

inline Status decodeDouble(std::string_view token, double& out, Context& context) {
  if (!isNumber(token)) return context.malformed();
  const auto value = doubleValue(token);
  if (!value) return doesNotFit(context, token, swiftName<double>());
  out = *value;
  return nullptr;
}

inline Status decodeBoolean(std::string_view token, bool& out, Context& context) {
  out = token == "true";
  return out || token == "false" ? nullptr : context.malformed();
}

inline Status decodeDate(std::string_view text, Date& out, Context& context) {
  const auto date = parseISO8601(text);
  if (!date)
    return context.failed(DecodingFailure::Kind::dataCorrupted, "Expected date string to be ISO8601-formatted.");
  out = *date;
  return nullptr;
}

template <class Enumeration>
Status decodeCase(ondemand::value& value, const Located& located, Enumeration& out, Context& context) {
  const auto& cases = JSONEnumeration<Enumeration>::cases;
  auto found = std::ranges::find(cases, located.token.substr(1, located.token.size() - 2));
  if (found == cases.end()) [[unlikely]] {
    Status status = nullptr;
    const std::string_view text = unescaped(value, context, status);  // unknown, or spelled with escapes
    if (status) return status;
    found = std::ranges::find(cases, text);
    if (found == cases.end())
      return context.failed(DecodingFailure::Kind::dataCorrupted,
                            "Cannot initialize " + std::string(JSONEnumeration<Enumeration>::name) +
                                " from invalid String value " + std::string(text));
  }
  out = static_cast<Enumeration>(found - cases.begin());
  return nullptr;
}

template <class T>
constexpr ValueKind kindOf() {
  if constexpr (std::same_as<T, bool>) return ValueKind::boolean;
  if constexpr (std::is_arithmetic_v<T>) return ValueKind::number;
  return ValueKind::string;
}

/// A std::string_view is part of the document or of the parser's memory.
template <class T>
Status decodeScalar(ondemand::value& value, const Located& located, T& out, Context& context) {
  if (located.kind != kindOf<T>()) [[unlikely]]
    return otherKind(context, located, swiftName<T>());
  if constexpr (std::same_as<T, bool>) {
    return decodeBoolean(located.token, out, context);
  } else if constexpr (std::same_as<T, double>) {
    return decodeDouble(located.token, out, context);
  } else if constexpr (std::integral<T>) {
    return decodeInteger(located.token, out, context);
  } else if constexpr (std::is_enum_v<T>) {
    return decodeCase(value, located, out, context);
  } else {
    Status status = nullptr;
    const std::string_view text = textOf(value, located, context, status);
    if (status) return status;
    if constexpr (std::same_as<T, Date>) {
      return decodeDate(text, out, context);
    } else {
      out = text;
      return nullptr;
    }
  }
}

}  // namespace tovrin::json
