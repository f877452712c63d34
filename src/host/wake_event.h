#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <tuple>

namespace tovrin::host {

/// Wakes whoever polls its descriptor. Safe to use from any thread and from a signal handler.
class WakeEvent {
 public:
  WakeEvent() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~WakeEvent() { close(descriptor_); }
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;

  /// Readable from `signal` to `clear`.
  int descriptor() const { return descriptor_; }
  void signal() const {
    const std::uint64_t one = 1;
    std::ignore = write(descriptor_, &one, sizeof one);
  }
  void clear() const {
    std::uint64_t count = 0;
    std::ignore = read(descriptor_, &count, sizeof count);
  }

 private:
  const int descriptor_;
};

}  // namespace tovrin::host
