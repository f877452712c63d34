#include <sys/stat.h>

#include <cerrno>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/timestamps.h"

namespace tovrin {

FileIdentity fileIdentity(const struct stat& status) {
  return {.device = static_cast<std::uint64_t>(status.st_dev),
          .inode = status.st_ino,
          .size = status.st_size,
          .modificationTimeNanoseconds = nanosecondsOf(status.st_mtimespec),
          .statusChangeTimeNanoseconds = nanosecondsOf(status.st_ctimespec)};
}

Result<FileAttributes> fileAttributes(const std::filesystem::path& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return failure(fileError(errno, FileOperation::read, path));
  FileAttributes attributes;
  attributes.type = fileType(status.st_mode);
  attributes.identity = fileIdentity(status);
  // Volumes that keep no birth time say 0, or -1.
  if (status.st_birthtimespec.tv_sec > 0) attributes.birthTimeNanoseconds = nanosecondsOf(status.st_birthtimespec);
  return attributes;
}

}  // namespace tovrin
