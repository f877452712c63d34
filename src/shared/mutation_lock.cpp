#include "shared/mutation_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "platform/file_system.h"

namespace tovrin {
namespace {

constexpr std::chrono::milliseconds kRetryInterval(50);
/// Part of what the two processes share, so the same number on every system.
constexpr std::int64_t kBusyCode = 60;

std::binary_semaphore mutationSemaphore(1);
std::binary_semaphore cachedItemsSemaphore(1);

NSError busyError() {
  return {NSPOSIXErrorDomain, kBusyCode, "Another Tovrin file change is still finishing. Please try again."};
}

/// Gives the semaphore back unless the lock was taken.
class SemaphoreHold {
 public:
  explicit SemaphoreHold(std::binary_semaphore& semaphore) : semaphore_(&semaphore) {}
  ~SemaphoreHold() {
    if (semaphore_ != nullptr) semaphore_->release();
  }
  SemaphoreHold(const SemaphoreHold&) = delete;
  SemaphoreHold& operator=(const SemaphoreHold&) = delete;
  void handOver() { semaphore_ = nullptr; }

 private:
  std::binary_semaphore* semaphore_;
};

bool waitForTurn(std::binary_semaphore& semaphore, double timeout) {
  // A wait of no length must still look once.
  return semaphore.try_acquire() || (timeout > 0 && semaphore.try_acquire_for(std::chrono::duration<double>(timeout)));
}

/// 0, or the errno of the attempt.
int tryRecordLock(int descriptor, short type) {
  struct flock whole{};
  whole.l_type = type;
  whole.l_whence = SEEK_SET;
  return fcntl(descriptor, F_SETLK, &whole) == 0 ? 0 : errno;
}

}  // namespace

// The semaphore first: record locks belong to the process, so a second thread of ours would simply be granted the lock
// that the first one still holds.
Result<TovrinWarpSharedMutationLock> acquireLock(const std::filesystem::path& file, std::binary_semaphore& semaphore,
                                                 Clock& clock, double timeoutSeconds) {
  const double timeout = std::max(timeoutSeconds, 0.0);
  const double deadline = clock.systemUptime() + timeout;
  if (!waitForTurn(semaphore, timeout)) return failure(busyError());
  SemaphoreHold turn(semaphore);

  TOVRIN_CHECK(createDirectories(file.parent_path()));
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) return failure(NSError::posix(errno, "Tovrin could not open the shared Warp mutation lock."));

  while (const int error = tryRecordLock(descriptor, F_WRLCK)) {
    const bool isHeldElsewhere = error == EAGAIN || error == EACCES;
    if (isHeldElsewhere && clock.systemUptime() < deadline) {
      clock.sleep(kRetryInterval, {});
      continue;
    }
    ::close(descriptor);
    if (isHeldElsewhere) return failure(busyError());
    return failure(NSError::posix(error, "Tovrin could not lock shared Warp mutation state."));
  }
  turn.handOver();
  return TovrinWarpSharedMutationLock(descriptor, semaphore);
}

TovrinWarpSharedMutationLock::TovrinWarpSharedMutationLock(TovrinWarpSharedMutationLock&& other) noexcept
    : fileDescriptor_(std::exchange(other.fileDescriptor_, -1)),
      processSemaphoreToRelease_(std::exchange(other.processSemaphoreToRelease_, nullptr)) {}

TovrinWarpSharedMutationLock& TovrinWarpSharedMutationLock::operator=(TovrinWarpSharedMutationLock&& other) noexcept {
  if (this == &other) return *this;
  release();
  fileDescriptor_ = std::exchange(other.fileDescriptor_, -1);
  processSemaphoreToRelease_ = std::exchange(other.processSemaphoreToRelease_, nullptr);
  return *this;
}

TovrinWarpSharedMutationLock::~TovrinWarpSharedMutationLock() { release(); }

// Unlock, close, signal, in this order: another thread of ours may only go for the file once this process has let go.
void TovrinWarpSharedMutationLock::release() {
  if (fileDescriptor_ < 0) return;
  tryRecordLock(fileDescriptor_, F_UNLCK);
  ::close(std::exchange(fileDescriptor_, -1));
  if (auto* semaphore = std::exchange(processSemaphoreToRelease_, nullptr)) semaphore->release();
}

Result<TovrinWarpSharedMutationLock> acquireMutationLock(const Platform& platform, double timeoutSeconds) {
  TOVRIN_TRY(const WarpDirectory directory, locateWarpDirectory(platform.directories));
  return acquireLock(directory.mutationLock(), mutationSemaphore, platform.clock, timeoutSeconds);
}

Result<TovrinWarpSharedMutationLock> acquireCachedItemsLock(const Platform& platform, double timeoutSeconds) {
  TOVRIN_TRY(const WarpDirectory directory, locateWarpDirectory(platform.directories));
  return acquireLock(directory.cachedItemsLock(), cachedItemsSemaphore, platform.clock, timeoutSeconds);
}

}  // namespace tovrin
