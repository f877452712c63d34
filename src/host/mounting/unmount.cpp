#include "host/mounting/unmount.h"

#include <fmt/core.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

#include "host/control/control_client.h"
#include "host/wake_event.h"

namespace tovrin::host {

namespace {

/// The process behind a mount, of which the end can be waited for.
class HostProcess {
 public:
  explicit HostProcess(std::int64_t number)
      : descriptor_(static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(number), 0))) {}
  ~HostProcess() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  Result<void> waitForEnd(std::stop_token stop) const {
    if (descriptor_ < 0) return {};  // it has ended
    const WakeEvent stopped;
    const std::stop_callback wake(stop, [&stopped] { stopped.signal(); });
    std::array<pollfd, 2> sources{pollfd{descriptor_, POLLIN, 0}, pollfd{stopped.descriptor(), POLLIN, 0}};
    while (sources[0].revents == 0) {
      if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
      poll(sources.data(), sources.size(), -1);
    }
    return {};
  }

 private:
  int descriptor_;
};

}  // namespace

Result<MountedFileSystem> ourMountAt(const std::filesystem::path& mountpoint) {
  TOVRIN_TRY(const std::vector<MountedFileSystem> all, mountedFileSystems());
  const auto mounted = mountedAt(all, mountpoint);
  if (!mounted) return failure(NSError::posix(EINVAL, "Nothing is mounted here."));
  if (isTovrin(*mounted)) return *mounted;
  return failure(
      NSError::posix(EINVAL, fmt::format("What is mounted here is no Tovrin mount but of type {}.", mounted->type)));
}

Result<Unmounted> unmount(const std::filesystem::path& mountpoint, UnmountMode mode, const Directories& directories,
                          std::stop_token stop) {
  TOVRIN_CHECK(ourMountAt(mountpoint));
  Unmounted outcome;
  if (isDead(mountpoint)) {
    outcome.wasDead = true;
    TOVRIN_CHECK(takeOffMountpoint(mountpoint, UnmountMode::lazily));
    return outcome;
  }
  const auto running = runningMountAt(mountpoint, directories);
  std::optional<HostProcess> host;
  if (running) {
    host.emplace(running->status.processID);
    auto kept = running->control.handOverEdits(stop);
    if (!kept && stop.stop_requested()) return failure(kept.error());
    if (kept) outcome.keptEdits = *std::move(kept);
  }
  TOVRIN_CHECK(takeOffMountpoint(mountpoint, mode));
  if (host && mode == UnmountMode::whenUnused) TOVRIN_CHECK(host->waitForEnd(stop));
  return outcome;
}

}  // namespace tovrin::host
