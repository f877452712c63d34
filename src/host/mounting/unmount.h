#pragma once

#include <filesystem>
#include <stop_token>
#include <vector>

#include "foundation/result.h"
#include "host/control/mount_control.h"
#include "host/mounting/fusermount.h"
#include "host/mounting/mount_table.h"
#include "platform/directories.h"

namespace tovrin::host {

/// What is mounted at a mountpoint of ours. Fails for one where nothing is, or something else.
Result<MountedFileSystem> ourMountAt(const std::filesystem::path& mountpoint);

struct Unmounted {
  bool wasDead = false;  ///< its process had ended before
  /// Edits that could not be handed over. They are kept, and the next mount goes on with them.
  std::vector<MountStatus::KeptEdit> keptEdits;
};

/// Lets the mount hand over its edits, takes it off, and waits until its process has ended (not when `lazily`). Another
/// user's mount is only taken off: its process hands over in its own time. When `stop` is requested: NSCocoaErrorDomain
/// 3072; whether it is still mounted then depends on how far it was. NSPOSIXErrorDomain EBUSY: it is in use.
Result<Unmounted> unmount(const std::filesystem::path& mountpoint, UnmountMode mode, const Directories& directories,
                          std::stop_token stop);

}  // namespace tovrin::host
