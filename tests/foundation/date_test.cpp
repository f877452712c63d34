#include "foundation/date.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace tovrin {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// 2025-03-01T12:00:00Z
constexpr double kNoon = 1740830400;

std::optional<double> seconds(std::string_view text) {
  const std::optional<Date> date = parseISO8601(text);
  return date ? std::optional(date->secondsSince1970) : std::nullopt;
}

TEST(ISO8601, readsEverySpellingOfTheZone) {
  EXPECT_EQ(seconds("2025-03-01T12:00:00Z"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T12:00:00z"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T12:00:00+00:00"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T12:00:00-0000"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T13:30:00+01:30"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T13:30:00+0130"), kNoon);
  EXPECT_EQ(seconds("2025-03-01T04:00:00-08:00"), kNoon);
  EXPECT_EQ(seconds("2025-03-02T11:59:00+23:59"), kNoon);
}

TEST(ISO8601, rejectsAFractionOfASecond) {
  EXPECT_EQ(seconds("2025-03-01T12:00:00.5Z"), std::nullopt);
  EXPECT_EQ(seconds("2025-03-01T12:00:00.000Z"), std::nullopt);
  EXPECT_EQ(seconds("2025-03-01T12:00:00,5Z"), std::nullopt);
}

TEST(ISO8601, rejectsEveryOtherForm) {
  for (const std::string_view text : {"",
                                      "Z",
                                      "2025",
                                      "2025-03-01",
                                      "2025-03-01T12:00Z",
                                      "2025-03-01T12:00:00",
                                      "2025-03-01T12:00:00PST",
                                      "2025-03-01T12:00:00GMT",
                                      "2025-03-01T12:00:00+00",
                                      "2025-03-01T12:00:00+1:30",
                                      "2025-03-01T12:00:00+01:3",
                                      "2025-03-01T12:00:00+01-30",
                                      "2025-03-01T12:00:00 01:30",
                                      "2025-03-01T12:00:00Zjunk",
                                      "2025-03-01T12:00:00Z ",
                                      "2025-03-01T12:00:00ZZ",
                                      " 2025-03-01T12:00:00Z",
                                      "2025-03-01T12:00:00 Z",
                                      "2025-03-01t12:00:00Z",
                                      "2025-03-01 12:00:00Z",
                                      "20250301T120000Z",
                                      "2025-3-01T12:00:00Z",
                                      "2025-03-01T1:00:00Z",
                                      "25-03-01T12:00:00ZZZ",
                                      "02025-03-01T12:00:00Z",
                                      "-025-03-01T12:00:00Z",
                                      "+025-03-01T12:00:00Z",
                                      "2025/03/01T12:00:00Z",
                                      "2025-03-01T12.00.00Z",
                                      "2025-03-01T12:00:0aZ",
                                      "2025-03-01T12:00: 0Z",
                                      "2025-03-01T12:00:00+aa:00",
                                      "2025-03-01T12:00:00+00:0a",
                                      "2025-03-01T12:00:00\xe2\x88\x92"
                                      "0100",
                                      "\xef\xbb\xbf"
                                      "2025-03-01T12:00:00Z"}) {
    EXPECT_EQ(seconds(text), std::nullopt) << text;
  }
  EXPECT_EQ(seconds(std::string_view("2025-03-01T12:00:00Z\0", 21)), std::nullopt);
}

TEST(ISO8601, rejectsTimesThatNoCalendarOrClockShows) {
  for (const std::string_view text :
       {"2025-13-01T00:00:00Z", "2025-00-01T00:00:00Z", "2025-01-00T00:00:00Z", "2025-01-32T00:00:00Z",
        "2025-02-29T00:00:00Z", "2025-02-30T00:00:00Z", "1900-02-29T00:00:00Z", "2025-04-31T00:00:00Z",
        "2025-03-01T24:00:00Z", "2025-03-01T12:60:00Z", "2025-03-01T12:00:60Z", "2025-03-01T12:00:00+24:00",
        "2025-03-01T12:00:00+00:60"}) {
    EXPECT_EQ(seconds(text), std::nullopt) << text;
  }
  EXPECT_EQ(seconds("2024-02-29T00:00:00Z"), 1709164800);
  EXPECT_EQ(seconds("2000-02-29T23:59:59Z"), 951868799);
}

TEST(ISO8601, readsYearsBefore1970AndFarAhead) {
  EXPECT_EQ(seconds("1970-01-01T00:00:00Z"), 0);
  EXPECT_EQ(seconds("1969-12-31T23:59:59Z"), -1);
  EXPECT_EQ(seconds("0001-01-01T00:00:00Z"), Date::distantPast().secondsSince1970);
  EXPECT_EQ(seconds("9999-12-31T23:59:59Z"), 253402300799);
}

TEST(ISO8601, writesUTCAndWholeSeconds) {
  EXPECT_EQ(formatISO8601({kNoon}), "2025-03-01T12:00:00Z");
  EXPECT_EQ(formatISO8601({0}), "1970-01-01T00:00:00Z");
  EXPECT_EQ(formatISO8601({-1}), "1969-12-31T23:59:59Z");
  EXPECT_EQ(formatISO8601(Date::distantPast()), "0001-01-01T00:00:00Z");
}

TEST(ISO8601, cutsAFractionOffTowardsThePast) {
  EXPECT_EQ(formatISO8601({kNoon + 0.999999}), "2025-03-01T12:00:00Z");
  EXPECT_EQ(formatISO8601({-0.25}), "1969-12-31T23:59:59Z");
  EXPECT_EQ(formatISO8601({-1.5}), "1969-12-31T23:59:58Z");
}

TEST(ISO8601, writesWhatItReadsAlsoForImpossibleDates) {
  EXPECT_EQ(formatISO8601({1e300}), "9999-12-31T23:59:59Z");
  EXPECT_EQ(formatISO8601({kInfinity}), "9999-12-31T23:59:59Z");
  EXPECT_EQ(formatISO8601({-kInfinity}), "0000-01-01T00:00:00Z");
  EXPECT_EQ(formatISO8601({kNaN}), "0001-01-01T00:00:00Z");
  EXPECT_TRUE(parseISO8601("0000-01-01T00:00:00Z").has_value());
}

TEST(ISO8601, readsBackEveryDayThatItWrites) {
  for (std::int64_t day = -719162; day < 2932897; day += 97) {
    const Date date{static_cast<double>(day) * 86400 + 45296};
    ASSERT_EQ(parseISO8601(formatISO8601(date)), date) << formatISO8601(date);
  }
}

TEST(Date, knowsFiniteTimes) {
  EXPECT_TRUE(Date{0}.isFinite());
  EXPECT_FALSE(Date{kInfinity}.isFinite());
  EXPECT_FALSE(Date{kNaN}.isFinite());
}

TEST(Date, addsAndSubtractsSeconds) {
  EXPECT_EQ(Date{10} + 2.5, Date{12.5});
  EXPECT_EQ((Date{10} - Date{12.5}), -2.5);
  EXPECT_LT(Date::distantPast(), Date{0});
  EXPECT_EQ(Date::fromNanoseconds(1'500'000'000), Date{1.5});
}

TEST(ShortestDecimal, hasAlwaysADigitAfterThePoint) {
  EXPECT_EQ(shortestDecimal(0), "0.0");
  EXPECT_EQ(shortestDecimal(1700000000), "1700000000.0");
  EXPECT_EQ(shortestDecimal(1700000000.5), "1700000000.5");
  EXPECT_EQ(shortestDecimal(1700000000.25), "1700000000.25");
  EXPECT_EQ(shortestDecimal(-3), "-3.0");
  EXPECT_EQ(shortestDecimal(-0.0), "-0.0");
}

TEST(ShortestDecimal, givesNoMoreDigitsThanReadBack) {
  EXPECT_EQ(shortestDecimal(0.1), "0.1");
  EXPECT_EQ(shortestDecimal(1700000000.123), "1700000000.123");
  EXPECT_EQ(shortestDecimal(0.1 + 0.2), "0.30000000000000004");
}

TEST(ShortestDecimal, neverWritesAnExponent) {
  EXPECT_EQ(shortestDecimal(0.00001), "0.00001");
  EXPECT_EQ(shortestDecimal(2.5e-7), "0.00000025");
  EXPECT_EQ(shortestDecimal(1e16), "10000000000000000.0");
  EXPECT_EQ(shortestDecimal(9007199254740994.0), "9007199254740994.0");
  for (const double value :
       {std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest(), std::numeric_limits<double>::min(),
        std::numeric_limits<double>::denorm_min(), -std::nextafter(std::numeric_limits<double>::min(), 0.0)}) {
    const std::string text = shortestDecimal(value);
    EXPECT_EQ(text.find_first_not_of("-.0123456789"), std::string::npos) << text;
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
  }
}

TEST(ShortestDecimal, readsBackAsTheSameNumber) {
  std::mt19937_64 random(20250301);
  std::uniform_real_distribution<double> times(-1e10, 1e10);
  for (int i = 0; i < 20000; ++i) {
    const double value = times(random);
    ASSERT_EQ(std::strtod(shortestDecimal(value).c_str(), nullptr), value);
  }
}

TEST(ShortestDecimal, namesWhatHasNoDigits) {
  EXPECT_EQ(shortestDecimal(kInfinity), "inf");
  EXPECT_EQ(shortestDecimal(-kInfinity), "-inf");
  EXPECT_EQ(shortestDecimal(kNaN), "nan");
}

}  // namespace
}  // namespace tovrin
