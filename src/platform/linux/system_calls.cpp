#include "platform/posix/system_calls.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/file_descriptor.h"

namespace tovrin {

namespace {

constexpr std::int64_t kKernelCopyBytes = 64 << 20;  // a bound on how long one uninterruptible call can take

std::int64_t nanoseconds(const timespec& time) { return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec; }

/// Whether the kernel cannot copy between these two files itself; a copy through memory may still work.
bool isUnsupportedCopy(int errnoValue) {
  return errnoValue == EXDEV || errnoValue == EINVAL || errnoValue == ENOSYS || errnoValue == EOPNOTSUPP ||
         errnoValue == EPERM || errnoValue == EBADF || errnoValue == ETXTBSY;
}

/// Copies until the count is reached or the kernel gives up; what is left then is not an error yet.
CopyOutcome copyInKernel(int from, int to, std::int64_t count) {
  CopyOutcome outcome;
  while (outcome.copied < count) {
    const auto length = static_cast<std::size_t>(std::min(count - outcome.copied, kKernelCopyBytes));
    const ssize_t copied = copy_file_range(from, nullptr, to, nullptr, length, 0);
    if (copied == 0) break;
    if (copied > 0) {
      outcome.copied += copied;
    } else if (errno != EINTR) {
      if (!isUnsupportedCopy(errno)) outcome = {outcome.copied, errno, FileOperation::update};
      break;
    }
  }
  return outcome;
}

}  // namespace

clockid_t uptimeClock() { return CLOCK_MONOTONIC; }

int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that does not know the flag; between the question and the answer another process may step in.
  struct stat status;
  if (lstat(to.c_str(), &status) == 0) return EEXIST;
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int synchronizeDescriptor(int descriptor) {
  int result = 0;
  do {
    result = ::fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

FileIdentity fileIdentity(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modificationTimeNanoseconds = nanoseconds(status.st_mtim),
          .statusChangeTimeNanoseconds = nanoseconds(status.st_ctim)};
}

CopyOutcome copyDescriptorBytes(int from, int to, std::int64_t count) {
  const CopyOutcome inKernel = copyInKernel(from, to, count);
  if (inKernel.errnoValue != 0 || inKernel.copied >= count) return inKernel;
  // The kernel reports an end also for files whose size it does not know, such as those of /proc: only a read tells.
  CopyOutcome rest = copyThroughMemory(from, to, count - inKernel.copied);
  rest.copied += inKernel.copied;
  return rest;
}

}  // namespace tovrin
