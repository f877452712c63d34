#include "support/test_platform.h"

namespace tovrin {

Date TestClock::now() const {
  const std::lock_guard hold(lock_);
  return now_;
}

double TestClock::systemUptime() const {
  const std::lock_guard hold(lock_);
  return uptime_;
}

bool TestClock::sleep(std::chrono::nanoseconds duration, std::stop_token stop) {
  ++sleeps_;
  advance(std::chrono::duration<double>(duration).count());
  return !stop.stop_requested();
}

void TestClock::advance(double seconds) {
  const std::lock_guard hold(lock_);
  now_ = now_ + seconds;
  uptime_ += seconds;
}

void TestClock::setNow(Date date) {
  const std::lock_guard hold(lock_);
  now_ = date;
}

TestDirectories::TestDirectories(const std::filesystem::path& root)
    : container(root / "container"),
      support(root / "support"),
      state(root / "state"),
      providerTemporary(root / "provider-temporary"),
      temporary(root / "temporary") {
  std::filesystem::create_directories(temporary);
}

void TestNotificationCenter::post(const std::string& name) {
  const std::lock_guard hold(lock_);
  posted_.push_back(name);
}

std::vector<std::string> TestNotificationCenter::posted() const {
  const std::lock_guard hold(lock_);
  return posted_;
}

TestPlatform::TestPlatform() : directories(scratch.path()), urlSession(makeURLSession()) {}

}  // namespace tovrin
