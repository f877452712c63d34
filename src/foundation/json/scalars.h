#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tovrin::json {

enum class ValueKind : std::uint8_t { absent, null, boolean, number, string, array, object };

/// "a string", "number", …: how a mismatch names what was found.
std::string_view describe(ValueKind kind);

/// Exactly one JSON number, nothing around it.
bool isNumber(std::string_view token);

struct WideInteger {
  bool negative = false;
  std::uint64_t magnitude = 0;
};
/// The integer that a JSON number stands for, also when it is written 1.0 or 1e3; nothing when it is no integer or its
/// magnitude needs more than 64 bits. `token` is a JSON number.
std::optional<WideInteger> integerValue(std::string_view token);

/// Nothing when it is not finite as a double, or a non-zero number that a double can only hold as 0.
std::optional<double> doubleValue(std::string_view token);

}  // namespace tovrin::json
