#pragma once

#include <functional>
#include <string>

#include "foundation/result.h"
#include "host/log.h"
#include "host/mount.h"

namespace tovrin::host {

struct MountServiceSettings {
  MountRequest request;  ///< its mountpoint may be relative and missing
  log::Level logLevel = log::Level::notice;
  bool isDaemon = false;  ///< has no terminal once it is ready
};

/// A mount from the bare mountpoint to its end by unmounting, or by SIGTERM, SIGINT or SIGHUP; a second signal takes it
/// off at once and ends the process with status 130. `say` gets sentences for the user about the mountpoint, once it is
/// mounted and before `ready` is called. Tells systemd, when it is listening. To be called before this process starts
/// threads.
Result<void> runMountService(const MountServiceSettings& settings, const std::function<void(const std::string&)>& say,
                             const std::function<void()>& ready);

}  // namespace tovrin::host
