#include "platform/clock.h"

#include <gtest/gtest.h>
#include <time.h>

#include <chrono>
#include <thread>

namespace tovrin {
namespace {

using namespace std::chrono_literals;

double wallSeconds() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

TEST(SystemClock, tellsTheTimeOfDay) {
  const double before = wallSeconds();
  const Date now = systemClock().now();
  EXPECT_GE(now.secondsSince1970, before);
  EXPECT_LE(now.secondsSince1970, wallSeconds());
}

TEST(SystemClock, neverGoesBackInUptime) {
  double last = systemClock().systemUptime();
  EXPECT_GT(last, 0);
  for (int i = 0; i < 1000; ++i) {
    const double uptime = systemClock().systemUptime();
    ASSERT_GE(uptime, last);
    last = uptime;
  }
}

TEST(SystemClock, sleepsTheWholeDuration) {
  const double before = systemClock().systemUptime();
  EXPECT_TRUE(systemClock().sleep(20ms, {}));
  EXPECT_GE(systemClock().systemUptime() - before, 0.0199);
}

TEST(SystemClock, doesNotSleepForNothingOrLess) {
  EXPECT_TRUE(systemClock().sleep(0ns, {}));
  EXPECT_TRUE(systemClock().sleep(-1h, {}));
  EXPECT_TRUE(systemClock().sleep(std::chrono::nanoseconds::min(), {}));
}

TEST(SystemClock, doesNotSleepWhenTheStopWasRequestedBefore) {
  std::stop_source stop;
  stop.request_stop();
  EXPECT_FALSE(systemClock().sleep(24h, stop.get_token()));
  EXPECT_FALSE(systemClock().sleep(0ns, stop.get_token()));
}

TEST(SystemClock, wakesUpWhenAStopIsRequested) {
  for (const std::chrono::nanoseconds duration : {std::chrono::nanoseconds(24h), std::chrono::nanoseconds::max()}) {
    std::stop_source stop;
    bool whole = true;
    std::jthread sleeper([&] { whole = systemClock().sleep(duration, stop.get_token()); });
    stop.request_stop();
    sleeper.join();
    EXPECT_FALSE(whole);
  }
}

TEST(SystemClock, isOneForTheProcess) { EXPECT_EQ(&systemClock(), &systemClock()); }

}  // namespace
}  // namespace tovrin
