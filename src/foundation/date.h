#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace tovrin {

/// A point in time, in seconds since 1970-01-01 00:00 UTC.
struct Date {
  double secondsSince1970 = 0;

  static constexpr Date distantPast() { return {-62135596800.0}; }
  static constexpr Date fromNanoseconds(std::int64_t nanoseconds) { return {static_cast<double>(nanoseconds) / 1e9}; }

  bool isFinite() const;

  friend auto operator<=>(const Date&, const Date&) = default;
};

constexpr Date operator+(Date date, double seconds) { return {date.secondsSince1970 + seconds}; }
constexpr double operator-(Date a, Date b) { return a.secondsSince1970 - b.secondsSince1970; }

/// Reads exactly `YYYY-MM-DDThh:mm:ss` followed by `Z`, `z`, `±hh:mm` or `±hhmm`, calendar-valid; nothing else.
std::optional<Date> parseISO8601(std::string_view text);

/// Writes UTC and whole seconds, such as 2025-03-01T12:00:00Z; a fraction is cut off towards the past. Always a text
/// that parseISO8601 reads: a date outside the years 0 to 9999 is written as the nearest one inside, NaN as the distant
/// past.
std::string formatISO8601(Date date);

/// The shortest decimal digits that read back as the same double, in plain notation, with at least one digit after
/// the point: 1700000000.25, 0.0; "inf", "-inf" and "nan" for what has no digits. Item versions and the sync anchor are
/// built from these texts.
std::string shortestDecimal(double value);

}  // namespace tovrin
