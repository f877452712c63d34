#include "platform/notification_center.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <type_traits>

#include "platform/linux/session_bus.h"

namespace tovrin {

namespace {

constexpr const char* kPath = "/com/tovrin/Notifications";
constexpr const char* kInterface = "com.tovrin.Notifications";
constexpr const char* kMember = "Posted";

// A living bus takes a signal in well under a millisecond; one that hangs must not hold up the user's file.
constexpr std::chrono::microseconds kLongestWait = std::chrono::milliseconds(100);

bool everythingIsSent(sd_bus* bus) {
  std::uint64_t queued = 0;
  return sd_bus_is_ready(bus) > 0 && sd_bus_get_n_queued_write(bus, &queued) >= 0 && queued == 0;
}

/// Says hello to a fresh bus and hands over what is queued, as `sd_bus_flush` does, which waits without limit.
bool sendQueued(sd_bus* bus) {
  const auto deadline = std::chrono::steady_clock::now() + kLongestWait;
  while (!everythingIsSent(bus)) {
    const int progress = sd_bus_process(bus, nullptr);
    if (progress < 0 || sd_bus_is_open(bus) <= 0) return false;
    if (progress > 0) continue;
    const auto left = std::chrono::floor<std::chrono::microseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || sd_bus_wait(bus, static_cast<std::uint64_t>(left.count())) < 0) return false;
  }
  return true;
}

class BusNotificationCenter final : public NotificationCenter {
 public:
  void post(const std::string& name) override {
    const std::lock_guard hold(lock_);
    if (bus_ != nullptr && !isAlive(bus_.get())) bus_.reset();
    if (bus_ == nullptr) bus_ = openSessionBus();
    if (bus_ == nullptr) return;
    const int queued = sd_bus_emit_signal(bus_.get(), kPath, kInterface, kMember, "s", name.c_str());
    if (queued < 0 || !sendQueued(bus_.get())) bus_.reset();
  }

 private:
  std::mutex lock_;
  Bus bus_;
};

}  // namespace

std::unique_ptr<NotificationCenter> makeDistributedNotificationCenter() {
  return std::make_unique<BusNotificationCenter>();
}

}  // namespace tovrin
