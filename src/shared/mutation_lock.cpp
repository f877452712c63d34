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

ProcessSemaphore mutationSemaphore;
ProcessSemaphore cachedItemsSemaphore;

NSError busyError() {
  return {NSPOSIXErrorDomain, kBusyCode, "Another Tovrin file change is still finishing. Please try again."};
}

/// Gives the semaphore back unless the lock was taken.
class SemaphoreHold {
 public:
  explicit SemaphoreHold(ProcessSemaphore& semaphore) : semaphore_(&semaphore) {}
  ~SemaphoreHold() {
    if (semaphore_ != nullptr) semaphore_->release();
  }
  SemaphoreHold(const SemaphoreHold&) = delete;
  SemaphoreHold& operator=(const SemaphoreHold&) = delete;
  void handOver() { semaphore_ = nullptr; }

 private:
  ProcessSemaphore* semaphore_;
};

/// An open lock file, closed unless it is handed over.
class OpenLockFile {
 public:
  explicit OpenLockFile(int descriptor) : descriptor_(descriptor) {}
  ~OpenLockFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  OpenLockFile(const OpenLockFile&) = delete;
  OpenLockFile& operator=(const OpenLockFile&) = delete;
  int descriptor() const { return descriptor_; }
  int handOver() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

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
Result<TovrinWarpSharedMutationLock> acquireLock(const std::filesystem::path& file, ProcessSemaphore& semaphore,
                                                 Clock& clock, double timeoutSeconds) {
  const double timeout = std::max(timeoutSeconds, 0.0);
  const double deadline = clock.systemUptime() + timeout;
  if (!semaphore.tryAcquireFor(std::chrono::duration<double>(timeout))) return failure(busyError());
  SemaphoreHold turn(semaphore);

  TOVRIN_CHECK(createDirectories(file.parent_path()));
  OpenLockFile lockFile(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (lockFile.descriptor() < 0)
    return failure(NSError::posix(errno, "Tovrin could not open the shared Warp mutation lock."));

  while (const int error = tryRecordLock(lockFile.descriptor(), F_WRLCK)) {
    const bool isHeldElsewhere = error == EAGAIN || error == EACCES;
    if (isHeldElsewhere && clock.systemUptime() < deadline) {
      clock.sleep(kRetryInterval, {});
      continue;
    }
    if (isHeldElsewhere) return failure(busyError());
    return failure(NSError::posix(error, "Tovrin could not lock shared Warp mutation state."));
  }
  turn.handOver();
  return TovrinWarpSharedMutationLock(lockFile.handOver(), semaphore);
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
