#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"

namespace tovrin::host {

/// One mounted file system.
struct MountedFileSystem {
  dev_t device = 0;  ///< the st_dev of everything on it
  std::filesystem::path mountpoint;
  std::string type;  ///< such as "fuse.tovrin"
  std::string source;
};

/// Whether it is a mount of this system, also when it was given another type to look like another file system.
bool isTovrin(const MountedFileSystem& mounted);

/// The lines of /proc/PID/mountinfo, in their order; lines that are none are left out.
std::vector<MountedFileSystem> parseMountInfo(std::string_view text);

/// What this process sees mounted.
Result<std::vector<MountedFileSystem>> mountedFileSystems();

/// The one that is seen at exactly this path, which is absolute and without links: the last of several.
std::optional<MountedFileSystem> mountedAt(const std::vector<MountedFileSystem>& all,
                                           const std::filesystem::path& mountpoint);

/// The st_dev of what this process sees mounted at exactly this path; 0 when there is nothing.
dev_t deviceMountedAt(const std::filesystem::path& mountpoint);

/// Whether the process behind a FUSE file system has died. One that does not answer in two seconds counts as living.
bool isDead(const std::filesystem::path& mountpoint);

}  // namespace tovrin::host
