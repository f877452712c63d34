#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

namespace tovrin {

/// How far an operation is, and the wish to stop it. Safe to use from any thread.
class NSProgress {
 public:
  static std::shared_ptr<NSProgress> withTotalUnitCount(std::int64_t total);

  std::int64_t totalUnitCount() const { return total_; }
  std::int64_t completedUnitCount() const { return completed_.load(); }
  void setCompletedUnitCount(std::int64_t count);

  /// `handler` is called with the completed count, now and at every change, in the order of the changes and on the
  /// thread that makes them. It must not set the count or a count handler itself.
  void setCountHandler(std::function<void(std::int64_t)> handler);

  /// Calls the cancellation handler, once however often it is called, on the calling thread.
  void cancel();
  bool isCancelled() const { return cancelled_.load(); }

  /// Replaces the handler; called at once when the progress was cancelled already.
  void setCancellationHandler(std::function<void()> handler);

 private:
  explicit NSProgress(std::int64_t total) : total_(total) {}

  const std::int64_t total_;
  std::atomic<std::int64_t> completed_{0};
  std::atomic<bool> cancelled_{false};
  std::mutex handlerLock_;
  std::function<void()> handler_;
  std::mutex countLock_;  ///< keeps the reports in order; held while the handler runs
  std::function<void(std::int64_t)> countHandler_;
};

}  // namespace tovrin
