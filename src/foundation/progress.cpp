#include "foundation/progress.h"

#include <utility>

namespace tovrin {

std::shared_ptr<NSProgress> NSProgress::withTotalUnitCount(std::int64_t total) {
  return std::shared_ptr<NSProgress>(new NSProgress(total));
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
