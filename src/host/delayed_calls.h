#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

namespace tovrin::host {

/// Runs short pieces of work later, one after the other, on one thread of its own. Thread-safe. What is due after its
/// destruction is never run.
class DelayedCalls {
 public:
  DelayedCalls();
  ~DelayedCalls();
  DelayedCalls(const DelayedCalls&) = delete;
  DelayedCalls& operator=(const DelayedCalls&) = delete;

  void after(std::chrono::milliseconds delay, std::function<void()> work);
  /// Runs nothing more and waits for what runs at this moment. Whatever the calls use may go after this.
  void stop();

 private:
  using Time = std::chrono::steady_clock::time_point;
  void run();

  std::mutex lock_;
  std::condition_variable changed_;
  std::multimap<Time, std::function<void()>> due_;
  bool stops_ = false;
  std::thread thread_;
};

}  // namespace tovrin::host
