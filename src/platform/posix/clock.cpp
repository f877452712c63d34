#include "platform/clock.h"

#include <time.h>

#include <condition_variable>
#include <mutex>

#include "platform/posix/system_calls.h"

namespace tovrin {

namespace {

double secondsOf(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::chrono::steady_clock::time_point deadlineAfter(std::chrono::nanoseconds duration) {
  const auto now = std::chrono::steady_clock::now();
  const auto latest = std::chrono::steady_clock::time_point::max();
  return duration < latest - now ? now + duration : latest;
}

class SystemClock final : public Clock {
 public:
  Date now() const override { return {secondsOf(CLOCK_REALTIME)}; }
  double systemUptime() const override { return secondsOf(uptimeClock()); }

  bool sleep(std::chrono::nanoseconds duration, std::stop_token stop) override {
    std::mutex lock;
    std::condition_variable_any stopped;
    std::unique_lock hold(lock);
    stopped.wait_until(hold, stop, deadlineAfter(duration), [] { return false; });
    return !stop.stop_requested();
  }
};

}  // namespace

Clock& systemClock() {
  static SystemClock clock;
  return clock;
}

}  // namespace tovrin
