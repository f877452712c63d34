#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/timestamps.h"

namespace tovrin {

Result<FileAttributes> fileAttributes(const std::filesystem::path& path) {
  struct statx status;
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
    return failure(fileError(errno, FileOperation::read, path));
  }
  FileAttributes attributes;
  attributes.type = fileType(status.stx_mode);
  attributes.identity = {.device = makedev(status.stx_dev_major, status.stx_dev_minor),
                         .inode = status.stx_ino,
                         .size = static_cast<std::int64_t>(status.stx_size),
                         .modificationTimeNanoseconds = nanosecondsOf(status.stx_mtime),
                         .statusChangeTimeNanoseconds = nanosecondsOf(status.stx_ctime)};
  if ((status.stx_mask & STATX_BTIME) != 0) attributes.birthTimeNanoseconds = nanosecondsOf(status.stx_btime);
  return attributes;
}

}  // namespace tovrin
