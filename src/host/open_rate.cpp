#include "host/open_rate.h"

namespace tovrin::host {

namespace {

constexpr double kWindowSeconds = 60;

}  // namespace

bool OpenRate::countOpen(std::string_view program) {
  const double now = clock_.systemUptime();
  const std::lock_guard hold(lock_);
  auto window = windows_.find(program);
  if (window == windows_.end() || now - window->second.start >= kWindowSeconds) {
    forgetOldWindows(now);
    window = windows_.insert_or_assign(std::string(program), Window{now, 0}).first;
  }
  return ++window->second.opens == limit_ + 1;
}

/// Programs come and go as long as the mount stays.
void OpenRate::forgetOldWindows(double now) {
  std::erase_if(windows_, [now](const auto& entry) { return now - entry.second.start >= kWindowSeconds; });
}

}  // namespace tovrin::host
