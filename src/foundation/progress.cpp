#include "foundation/progress.h"

#include <utility>

namespace tovrin {

std::shared_ptr<NSProgress> NSProgress::withTotalUnitCount(std::int64_t total) {
  return std::shared_ptr<NSProgress>(new NSProgress(total));
}

void NSProgress::setCompletedUnitCount(std::int64_t count) {
  const std::lock_guard hold(countLock_);
  completed_.store(count);
  if (countHandler_) countHandler_(count);
}

void NSProgress::setCountHandler(std::function<void(std::int64_t)> handler) {
  const std::lock_guard hold(countLock_);
  countHandler_ = std::move(handler);
  if (countHandler_) countHandler_(completed_.load());
}

void NSProgress::cancel() {
  std::function<void()> handler;
  {
    const std::lock_guard hold(handlerLock_);
    if (cancelled_.exchange(true)) return;
    handler = std::exchange(handler_, nullptr);
  }
  if (handler) handler();
}

void NSProgress::setCancellationHandler(std::function<void()> handler) {
  {
    const std::lock_guard hold(handlerLock_);
    if (!cancelled_.load()) {
      std::swap(handler_, handler);
      handler = nullptr;
      return;
    }
  }
  if (handler) handler();
}

}  // namespace tovrin
