#include "host/store/store_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <string>
#include <tuple>

namespace tovrin::host {

namespace {

constexpr mode_t kPrivateFileMode = 0600;

/// What the holder wrote into the file; it may be between taking the lock and writing.
std::string holder(const std::filesystem::path& file) {
  std::string number;
  if (const auto contents = readWholeFile(file)) {
    for (const char digit : contents->bytes) {
      if (std::isdigit(static_cast<unsigned char>(digit)) != 0) number += digit;
    }
  }
  return number.empty() ? "another process" : "process " + number;
}

int lockWithoutWaiting(int descriptor) {
  int result = 0;
  do {
    result = ::flock(descriptor, LOCK_EX | LOCK_NB);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

}  // namespace

Result<StoreLock> StoreLock::take(const std::filesystem::path& file) {
  FileDescriptor descriptor = FileDescriptor::open(file, O_RDWR | O_CREAT | O_NOFOLLOW, kPrivateFileMode);
  if (!descriptor.isOpen()) return failure(fileError(errno, FileOperation::create, file));
  if (const int error = lockWithoutWaiting(descriptor.get()); error == EWOULDBLOCK) {
    return failure(NSError::posix(
        EBUSY, fmt::format("The local copies in “{}” are in use by {}.", file.parent_path().string(), holder(file))));
  } else if (error != 0) {
    return failure(fileError(error, FileOperation::update, file));
  }
  // The number is there to be read by people: without it the lock is held all the same.
  if (::ftruncate(descriptor.get(), 0) == 0) std::ignore = writeAll(descriptor.get(), std::to_string(getpid()) + "\n");
  return StoreLock(std::move(descriptor));
}

StoreLock::~StoreLock() {
  // A number that stays would be named while the next holder has not written its own yet.
  if (file_.isOpen()) std::ignore = ::ftruncate(file_.get(), 0);
}

}  // namespace tovrin::host
