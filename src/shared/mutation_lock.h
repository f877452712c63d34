#pragma once

#include <cstdint>

#include "platform/platform.h"
#include "shared/process_semaphore.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// A holder of one of the two Warp locks. Destroying it releases the lock; there is no other way. Safe to destroy on
/// any thread. If the process dies, the kernel drops the record lock and the file stays.
class [[nodiscard]] TovrinWarpSharedMutationLock {
 public:
  TovrinWarpSharedMutationLock(TovrinWarpSharedMutationLock&& other) noexcept;
  TovrinWarpSharedMutationLock& operator=(TovrinWarpSharedMutationLock&& other) noexcept;
  ~TovrinWarpSharedMutationLock();

 private:
  friend Result<TovrinWarpSharedMutationLock> acquireLock(const std::filesystem::path&, ProcessSemaphore&, Clock&,
                                                          double);
  TovrinWarpSharedMutationLock(int fileDescriptor, ProcessSemaphore& semaphore)
      : fileDescriptor_(fileDescriptor), processSemaphoreToRelease_(&semaphore) {}
  void release();

  std::int32_t fileDescriptor_ = -1;
  ProcessSemaphore* processSemaphoreToRelease_ = nullptr;
};

/// How long every caller of ours waits.
inline constexpr double kLockTimeoutSeconds = 5.0;

/// Guards changes to warped files and their state. Taken before the cached-items lock where both are needed. A negative
/// timeout counts as 0. When another holder keeps it: NSPOSIXErrorDomain 60 on every system.
Result<TovrinWarpSharedMutationLock> acquireMutationLock(const Platform& platform,
                                                         double timeoutSeconds = kLockTimeoutSeconds);

/// Guards one load-change-save of the cached-item journal.
Result<TovrinWarpSharedMutationLock> acquireCachedItemsLock(const Platform& platform,
                                                            double timeoutSeconds = kLockTimeoutSeconds);

}  // namespace tovrin
