#include "platform/posix/system_calls.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/timestamps.h"

namespace tovrin {

namespace {

constexpr std::int64_t kKernelCopyBytes = 64 << 20;  // a bound on how long one uninterruptible call can take

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

/// File systems that do not know the flag have two ways to say so.
int renameByFlag(const std::filesystem::path& from, const std::filesystem::path& to, unsigned flag) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flag) == 0) return 0;
  return errno == EINVAL || errno == ENOSYS ? ENOTSUP : errno;
}

/// Linux lets users keep attributes only under this prefix, and on symbolic links not even those.
std::string linuxName(const std::string& name) { return "user." + name; }

}  // namespace

clockid_t uptimeClock() { return CLOCK_MONOTONIC; }

int renameWithoutReplacing(const std::filesystem::path& from, const std::filesystem::path& to) {
  return renameByFlag(from, to, RENAME_NOREPLACE);
}

int exchangeNames(const std::filesystem::path& a, const std::filesystem::path& b) {
  return renameByFlag(a, b, RENAME_EXCHANGE);
}

int beginWriteback(int descriptor) {
  return sync_file_range(descriptor, 0, 0, SYNC_FILE_RANGE_WRITE) == 0 ? 0 : synchronizeDescriptor(descriptor);
}

bool isOnLocalFileSystem(int descriptor) {
  constexpr std::array kLocal{std::int64_t{EXT4_SUPER_MAGIC}, std::int64_t{XFS_SUPER_MAGIC},
                              std::int64_t{BTRFS_SUPER_MAGIC}, std::int64_t{F2FS_SUPER_MAGIC},
                              std::int64_t{TMPFS_MAGIC}};
  struct statfs status;
  return fstatfs(descriptor, &status) == 0 &&
         std::ranges::find(kLocal, static_cast<std::int64_t>(status.f_type)) != kLocal.end();
}

bool takeWriteLease(int descriptor) {
  // The kernel's word to the one who holds the lease that somebody waits for it would end the process.
  return fcntl(descriptor, F_SETSIG, SIGURG) == 0 && fcntl(descriptor, F_SETLEASE, F_WRLCK) == 0;
}

void endLease(int descriptor) { fcntl(descriptor, F_SETLEASE, F_UNLCK); }

ssize_t readAttribute(const std::filesystem::path& path, const std::string& name, void* value, std::size_t size,
                      LinkPolicy links) {
  const std::string attribute = linuxName(name);
  return links == LinkPolicy::follow ? getxattr(path.c_str(), attribute.c_str(), value, size)
                                     : lgetxattr(path.c_str(), attribute.c_str(), value, size);
}

int writeAttribute(const std::filesystem::path& path, const std::string& name, std::string_view value,
                   LinkPolicy links) {
  const std::string attribute = linuxName(name);
  return links == LinkPolicy::follow ? setxattr(path.c_str(), attribute.c_str(), value.data(), value.size(), 0)
                                     : lsetxattr(path.c_str(), attribute.c_str(), value.data(), value.size(), 0);
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
          .modificationTimeNanoseconds = nanosecondsOf(status.st_mtim),
          .statusChangeTimeNanoseconds = nanosecondsOf(status.st_ctim)};
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
