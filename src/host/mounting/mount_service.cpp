#include "host/mounting/mount_service.h"

#include <fmt/core.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <stop_token>

#include "host/mounting/fuse_support.h"
#include "host/mounting/mount_options.h"
#include "host/mounting/mount_point.h"
#include "host/mounting/stop_signals.h"
#include "host/store/store_folders.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

namespace {

using std::filesystem::path;

constexpr int kExitInterrupted = 130;

bool liesIn(const path& folder, const path& inner) { return std::ranges::mismatch(folder, inner).in1 == folder.end(); }

/// What the mount itself reads and writes must not disappear below it.
Result<void> checkNothingIsHidden(const path& mountpoint, const Directories& directories) {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(directories));
  TOVRIN_TRY(const StoreFolders store, storeFolders(directories));
  for (const path& folder : {warp.path(), store.cache, store.state}) {
    std::error_code error;
    if (!liesIn(mountpoint, std::filesystem::weakly_canonical(folder, error))) continue;
    return failure(
        NSError::posix(EINVAL, fmt::format("The mount would hide {}, which it needs itself.", folder.string())));
  }
  return {};
}

Result<void> checkSharingIsAllowed(const MountRequest& request) {
  if (!isShared(request) || geteuid() == 0 || ordinaryUsersMayShareMounts()) return {};
  return failure(NSError::posix(
      EPERM,
      "Ordinary users may use allow_other and allow_root only when /etc/fuse.conf has a line user_allow_other."));
}

void tellSystemd(const std::string& state) { sd_notify(0, state.c_str()); }

[[noreturn]] void leaveAtOnce(MountPoint& point) {
  log::warning("ended at once; what was being changed is kept for the next mount");
  point.takeOff();
  point.removeFolder();
  _exit(kExitInterrupted);
}

}  // namespace

Result<void> runMountService(const MountServiceSettings& settings, const std::function<void(const std::string&)>& say,
                             const std::function<void()>& ready) {
  MountRequest request = settings.request;
  // While a terminal waits for a daemon only trouble is worth a line there.
  log::setUp(log::Destination::standardError,
             settings.isDaemon ? std::min(settings.logLevel, log::Level::warning) : settings.logLevel);
  std::signal(SIGPIPE, SIG_IGN);
  TOVRIN_CHECK(checkMountingIsPossible());
  TOVRIN_CHECK(checkSharingIsAllowed(request));
  while (true) {
    TOVRIN_TRY(MountPoint point, MountPoint::prepare(settings.request.mountpoint));
    TOVRIN_CHECK(checkNothingIsHidden(point.path(), *makeDirectories(request.container)));
    request.mountpoint = point.path();
    const StopSignals signals([&] { leaveAtOnce(point); });
    const std::stop_callback stopping(signals.token(),
                                      [] { tellSystemd("STOPPING=1\nSTATUS=Handing over edits and unmounting"); });
    Result<void> served = serveMount(request, signals.token(), [&] {
      point.seal();
      for (const std::string& remark : point.remarks()) say(remark);
      ready();
      if (settings.isDaemon) log::setUp(log::Destination::system, settings.logLevel);
      tellSystemd(fmt::format("READY=1\nSTATUS=Mounted at {}", request.mountpoint.string()));
    });
    // An earlier mount that had made the folder removes it as its last step, which this one may have waited for.
    if (served || !point.hasVanished()) return served;
  }
}

}  // namespace tovrin::host
