#include <sys/stat.h>

#include <cerrno>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin {

namespace {

std::int64_t nanoseconds(const timespec& time) { return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec; }

}  // namespace

FileIdentity fileIdentity(const struct stat& status) {
  return {.device = static_cast<std::uint64_t>(status.st_dev),
          .inode = status.st_ino,
          .size = status.st_size,
          .modificationTimeNanoseconds = nanoseconds(status.st_mtimespec),
          .statusChangeTimeNanoseconds = nanoseconds(status.st_ctimespec)};
}

Result<FileAttributes> fileAttributes(const std::filesystem::path& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return failure(fileError(errno, FileOperation::read, path));
  FileAttributes attributes;
  attributes.type = fileType(status.st_mode);
  attributes.identity = fileIdentity(status);
  // Volumes that keep no birth time say 0, or -1.
  if (status.st_birthtimespec.tv_sec > 0) attributes.birthTimeNanoseconds = nanoseconds(status.st_birthtimespec);
  return attributes;
}

}  // namespace tovrin
