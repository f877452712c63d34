#pragma once

#include <filesystem>
#include <optional>

#include "foundation/result.h"

/// The helper by which ordinary users mount and unmount.
namespace tovrin::host {

/// Where libfuse finds it; nothing when it is not installed.
std::optional<std::filesystem::path> findFusermount();

enum class UnmountMode {
  whenUnused,  ///< fails with EBUSY while a program uses it
  lazily,      ///< out of sight at once, gone when the last program has left
};

/// Takes the topmost file system off the mountpoint: with this process's own rights, else by the helper. Fails with
/// NSPOSIXErrorDomain, EBUSY when it is in use, and the helper's own words.
Result<void> takeOffMountpoint(const std::filesystem::path& mountpoint, UnmountMode mode);

}  // namespace tovrin::host
