#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tovrin {

/// Admits one holder at a time; may be released on another thread than the one that took it. The standard library's own
/// semaphore can sleep through a release that comes between its spinning and its sleeping, until the timeout.
class ProcessSemaphore {
 public:
  /// Waits until the semaphore is free, at most so long; looks once when the timeout is 0.
  bool tryAcquireFor(std::chrono::duration<double> timeout) {
    std::unique_lock hold(lock_);
    if (!released_.wait_for(hold, timeout, [this] { return isFree_; })) return false;
    isFree_ = false;
    return true;
  }

  void release() {
    {
      const std::lock_guard hold(lock_);
      isFree_ = true;
    }
    released_.notify_one();
  }

 private:
  std::mutex lock_;
  std::condition_variable released_;
  bool isFree_ = true;
};

}  // namespace tovrin
