#pragma once

#include <signal.h>

#include <functional>
#include <stop_token>
#include <thread>

namespace tovrin::host {

/// Turns the first SIGTERM, SIGINT or SIGHUP into a request to stop; signals that were ignored stay so. To be made
/// before other threads start: the calling thread, and all that it starts, no longer receive them otherwise.
class StopSignals {
 public:
  /// `insisted` is called, on a thread of its own, for the second one: whoever sends it does not want to wait.
  explicit StopSignals(std::function<void()> insisted);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  std::stop_token token() const { return stop_.get_token(); }

 private:
  void listen(const std::stop_token& end);

  std::function<void()> insisted_;
  std::stop_source stop_;
  sigset_t previousMask_{};
  int signals_;
  int end_;
  std::jthread thread_;  // last: it uses the others
};

/// The calling thread receives the three no more until the mask, which is returned, is set again.
sigset_t blockStopSignals();

}  // namespace tovrin::host
