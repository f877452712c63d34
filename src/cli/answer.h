#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>
#include <utility>

#include "cli/interruption.h"

namespace tovrin::cli {

/// What a completion handler on another thread leaves for the thread that waits. Shared by both.
template <class Value>
class Answer {
 public:
  Answer() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Answer() { close(descriptor_); }
  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  void give(Value value) {
    const std::lock_guard hold(lock_);
    value_.emplace(std::move(value));
    const std::uint64_t one = 1;
    std::ignore = write(descriptor_, &one, sizeof one);
  }

  /// Waits for the value; calls `onInterrupt` once, when interrupted meanwhile, and `tick` ten times a second.
  template <class OnInterrupt, class Tick>
  Value wait(const InterruptWatch& interruption, OnInterrupt&& onInterrupt, Tick&& tick) {
    std::array<pollfd, 2> sources{pollfd{descriptor_, POLLIN, 0}, pollfd{interruption.descriptor(), POLLIN, 0}};
    while (true) {
      poll(sources.data(), sources.size(), kTickMilliseconds);
      {
        const std::lock_guard hold(lock_);
        if (value_) return *std::move(value_);
      }
      if (interruption.requested() && sources[1].fd >= 0) {
        sources[1].fd = -1;
        onInterrupt();
      }
      tick();
    }
  }

 private:
  static constexpr int kTickMilliseconds = 100;

  const int descriptor_;
  std::mutex lock_;
  std::optional<Value> value_;
};

}  // namespace tovrin::cli
