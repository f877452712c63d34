#pragma once

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

#include "foundation/date.h"
#include "foundation/json/coding.h"
#include "foundation/json/located.h"
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
  return "String";
}

inline Status requireKind(const Located& located, ValueKind wanted, std::string_view name) {
  if (located.kind == ValueKind::null) {
    if (located.text != "null") return malformed();
    return failed(DecodingFailure::Kind::valueNotFound,
                  "Expected to decode " + std::string(name) + " but found null instead.");
  }
  if (located.kind != wanted) return mismatch(name, located.kind);
  return located.broken ? malformed() : nullptr;
}

template <class T>
Status decodeScalar(const Located& located, T& out, Context& context) {
  if constexpr (std::same_as<T, bool>) {
    if (Status status = requireKind(located, ValueKind::boolean, swiftName<T>())) return status;
    out = located.text == "true";
    return out || located.text == "false" ? nullptr : malformed();
  } else if constexpr (std::same_as<T, double>) {
    if (Status status = requireKind(located, ValueKind::number, swiftName<T>())) return status;
    if (!isNumber(located.text)) return malformed();
    const auto value = doubleValue(located.text);
    if (!value)
      return failed(DecodingFailure::Kind::dataCorrupted,
                    "Parsed JSON number <" + std::string(located.text) + "> does not fit in Double.");
    out = *value;
    return nullptr;
  } else if constexpr (std::integral<T>) {
    if (Status status = requireKind(located, ValueKind::number, swiftName<T>())) return status;
    if (!isNumber(located.text)) return malformed();
    const auto value = integerValue(located.text);
    using Limits = std::numeric_limits<T>;
    const auto most = static_cast<std::uint64_t>(Limits::max());
    const bool fits = value && (value->negative ? value->magnitude <= (std::is_signed_v<T> ? most + 1 : 0)
                                                : value->magnitude <= most);
    if (!fits)
      return failed(DecodingFailure::Kind::dataCorrupted, "Parsed JSON number <" + std::string(located.text) +
                                                              "> does not fit in " + std::string(swiftName<T>()) + ".");
    out = static_cast<T>(value->negative ? 0 - value->magnitude : value->magnitude);
    return nullptr;
  } else if constexpr (std::same_as<T, Date>) {
    if (Status status = requireKind(located, ValueKind::string, "Date")) return status;
    const auto date = parseISO8601(located.text);
    if (!date) return failed(DecodingFailure::Kind::dataCorrupted, "Expected date string to be ISO8601-formatted.");
    out = *date;
    return nullptr;
  } else if constexpr (std::is_enum_v<T>) {
    if (Status status = requireKind(located, ValueKind::string, "String")) return status;
    const auto& cases = JSONEnumeration<T>::cases;
    const auto found = std::ranges::find(cases, located.text);
    if (found == cases.end())
      return failed(DecodingFailure::Kind::dataCorrupted, "Cannot initialize " + std::string(JSONEnumeration<T>::name) +
                                                              " from invalid String value " +
                                                              std::string(located.text));
    out = static_cast<T>(found - cases.begin());
    return nullptr;
  } else if constexpr (std::same_as<T, std::string_view>) {
    if (Status status = requireKind(located, ValueKind::string, "String")) return status;
    out = context.arena->add(located.text);
    return nullptr;
  } else {
    static_assert(std::same_as<T, std::string>);
    if (Status status = requireKind(located, ValueKind::string, "String")) return status;
    out = located.text;
    return nullptr;
  }
}

}  // namespace tovrin::json
