#pragma once

#include <filesystem>

#include "foundation/result.h"

namespace tovrin::host {

/// Fails when this user cannot mount: no device, no right to it, or no helper. The sentence says what to do, or what
/// works without a mount.
Result<void> checkMountingIsPossible();

/// Whether the administrator lets ordinary users share their mounts (`user_allow_other` in /etc/fuse.conf).
bool ordinaryUsersMayShareMounts(const std::filesystem::path& configuration = "/etc/fuse.conf");

}  // namespace tovrin::host
