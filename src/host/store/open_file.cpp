#include "host/store/open_file.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/posix/system_calls.h"

#include "platform/posix/system_calls.h"

namespace tovrin::host {

std::optional<FileOnDisk> fileOnDisk(int descriptor) {
  constexpr std::int64_t kStatusBlock = 512;
  struct stat status;
  if (fstat(descriptor, &status) != 0) return std::nullopt;
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return std::nullopt;
  }
  const FileIdentity identity = fileIdentity(status);
  return FileOnDisk{.mark = {.inode = static_cast<std::int64_t>(identity.inode),
                             .size = identity.size,
                             .modificationTimeNanoseconds = identity.modificationTimeNanoseconds},
                    .allocatedBytes = status.st_blocks * kStatusBlock};
}

}  // namespace tovrin::host
