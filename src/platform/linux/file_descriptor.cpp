#include "platform/linux/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

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

CopyOutcome copyThroughMemory(int from, int to, std::int64_t count) {
  CopyOutcome outcome;
  std::array<char, 64 << 10> buffer;
  while (outcome.copied < count) {
    const auto room = static_cast<std::size_t>(std::min<std::int64_t>(count - outcome.copied, buffer.size()));
    const ssize_t length = ::read(from, buffer.data(), room);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return {outcome.copied, errno, FileOperation::read};
    if (length == 0) break;
    if (const int error = writeAll(to, {buffer.data(), static_cast<std::size_t>(length)}); error != 0) {
      return {outcome.copied, error, FileOperation::update};
    }
    outcome.copied += length;
  }
  return outcome;
}

}  // namespace

FileDescriptor FileDescriptor::open(const std::filesystem::path& path, int flags, mode_t mode) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EINTR);
  return FileDescriptor(descriptor);
}

int FileDescriptor::close() { return isOpen() ? closeDescriptor(release()) : 0; }

int closeDescriptor(int descriptor) { return ::close(descriptor) == 0 || errno == EINTR ? 0 : errno; }

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0) {
      return EIO;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int synchronizeDescriptor(int descriptor) {
  int result = 0;
  do {
    result = ::fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

int synchronizeFolderOf(const std::filesystem::path& path) {
  const std::filesystem::path parent = path.parent_path();
  const FileDescriptor folder = FileDescriptor::open(parent.empty() ? "." : parent, O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return errno;
  const int error = synchronizeDescriptor(folder.get());
  return error == EINVAL || error == EOPNOTSUPP || error == EROFS ? 0 : error;
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
