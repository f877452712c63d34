#include "foundation/date.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>

namespace tovrin {

namespace {

constexpr double kFirstFormattedSecond = -62167219200.0;  // 0000-01-01T00:00:00Z
constexpr double kLastFormattedSecond = 253402300799.0;   // 9999-12-31T23:59:59Z

constexpr std::size_t kZoneStart = std::string_view("YYYY-MM-DDThh:mm:ss").size();

/// The number that the `count` characters at `start` write, -1 unless all of them are digits.
int digitsAt(std::string_view text, std::size_t start, std::size_t count) {
  int value = 0;
  for (const char c : text.substr(start, count)) {
    if (c < '0' || c > '9') return -1;
    value = value * 10 + (c - '0');
  }
  return value;
}

/// Seconds east of UTC.
std::optional<int> parseZone(std::string_view zone) {
  if (zone == "Z" || zone == "z") return 0;
  const bool hasColon = zone.size() == 6 && zone[3] == ':';
  if (zone.size() != 5 && !hasColon) return std::nullopt;
  if (zone[0] != '+' && zone[0] != '-') return std::nullopt;
  const int hours = digitsAt(zone, 1, 2);
  const int minutes = digitsAt(zone, zone.size() - 2, 2);
  if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59) return std::nullopt;
  const int offset = hours * 3600 + minutes * 60;
  return zone[0] == '-' ? -offset : offset;
}

}  // namespace

bool Date::isFinite() const { return std::isfinite(secondsSince1970); }

std::optional<Date> parseISO8601(std::string_view text) {
  if (text.size() <= kZoneStart) return std::nullopt;
  if (text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':') return std::nullopt;

  const int year = digitsAt(text, 0, 4);
  const int month = digitsAt(text, 5, 2);
  const int day = digitsAt(text, 8, 2);
  const int hour = digitsAt(text, 11, 2);
  const int minute = digitsAt(text, 14, 2);
  const int second = digitsAt(text, 17, 2);
  if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0) return std::nullopt;
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;

  const std::chrono::year_month_day calendarDay(std::chrono::year(year),
                                                std::chrono::month(static_cast<unsigned>(month)),
                                                std::chrono::day(static_cast<unsigned>(day)));
  if (!calendarDay.ok()) return std::nullopt;
  const std::optional<int> zone = parseZone(text.substr(kZoneStart));
  if (!zone) return std::nullopt;

  const auto days = std::chrono::sys_days(calendarDay).time_since_epoch().count();
  return Date{static_cast<double>(days) * 86400.0 + hour * 3600 + minute * 60 + second - *zone};
}

std::string formatISO8601(Date date) {
  double seconds = std::floor(date.secondsSince1970);
  if (std::isnan(seconds)) seconds = Date::distantPast().secondsSince1970;
  seconds = std::fmin(std::fmax(seconds, kFirstFormattedSecond), kLastFormattedSecond);

  const std::chrono::sys_seconds time{std::chrono::seconds(static_cast<std::int64_t>(seconds))};
  const auto midnight = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day day(midnight);
  const std::chrono::hh_mm_ss clock(time - midnight);

  std::array<char, 80> text{};  // room for whatever ints the compiler thinks of; 20 characters are written
  const int length = std::snprintf(
      text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
      static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()), static_cast<int>(clock.hours().count()),
      static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string shortestDecimal(double value) {
  std::array<char, 400> text;  // the longest, near -DBL_MIN, takes 328 characters
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  std::string digits(text.data(), end);
  if (std::isfinite(value) && digits.find('.') == std::string::npos) digits += ".0";
  return digits;
}

}  // namespace tovrin
