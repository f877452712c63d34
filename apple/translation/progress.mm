#include "apple/translation/progress.h"

#include <cstdint>

#include "platform/darwin/retained.h"

namespace tovrin {

::NSProgress* toNSProgress(const std::shared_ptr<NSProgress>& progress) {
  ::NSProgress* shown = [::NSProgress progressWithTotalUnitCount:progress->totalUnitCount()];
  // The one that is shown must not keep the core's alive, which keeps it: the operation that runs does.
  const std::weak_ptr<NSProgress> operation = progress;
  const Retained<void (^)()> cancel(^{
    if (const auto running = operation.lock()) running->cancel();
  });
  shown.cancellationHandler = cancel.get();
  progress->setCountHandler([held = Retained<::NSProgress*>(shown)](std::int64_t count) {
    @autoreleasepool {
      held.get().completedUnitCount = count;
    }
  });
  return shown;
}

}  // namespace tovrin
