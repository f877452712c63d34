#include "host/container_watch.h"

#include <linux/magic.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string_view>

#include "host/log.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Several files change together, one after the other.
constexpr milliseconds kSettle{30};
/// A little more than the domain keeps what it has read.
constexpr milliseconds kSecondLook{800};
constexpr milliseconds kPoll{1000};
constexpr std::uint32_t kEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_CREATE | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// File systems that others can change without this kernel knowing.
bool isWrittenByOthers(const std::filesystem::path& folder) {
  constexpr std::array<long, 6> kTypes{NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC, SMB2_SUPER_MAGIC,
                                       CIFS_SUPER_MAGIC, V9FS_MAGIC,      FUSE_SUPER_MAGIC};
  struct statfs status{};
  return statfs(folder.c_str(), &status) != 0 || std::ranges::find(kTypes, status.f_type) != kTypes.end();
}

ContainerWatch::Change operator|(ContainerWatch::Change a, const ContainerWatch::Change& b) {
  return {a.items || b.items, a.journal || b.journal, a.isGuess && b.isGuess};
}

}  // namespace

ContainerWatch::ContainerWatch(std::filesystem::path warpDirectory, std::function<void(const Change&)> changed)
    : warpDirectory_(std::move(warpDirectory)),
      changed_(std::move(changed)),
      events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)),
      stop_(eventfd(0, EFD_CLOEXEC)),
      thread_([this] { run(); }) {}

ContainerWatch::~ContainerWatch() {
  eventfd_write(stop_, 1);
  thread_.join();
  close(stop_);
  if (events_ >= 0) close(events_);
}

bool ContainerWatch::watch(const std::filesystem::path& folder) {
  const int watch = events_ < 0 ? -1 : inotify_add_watch(events_, folder.c_str(), kEvents);
  if (watch >= 0) watched_[watch] = folder;
  return watch >= 0;
}

/// Watching a folder again changes nothing, so this may be asked as often as one likes.
bool ContainerWatch::cover() {
  const WarpDirectory warp(warpDirectory_);
  const bool isCovered = watch(warp.path());
  return watch(warp.manifestMirror()) && isCovered && !isWrittenByOthers(warp.path());
}

ContainerWatch::Change ContainerWatch::readEvents() {
  const WarpDirectory warp(warpDirectory_);
  Change change;
  alignas(inotify_event) std::array<char, 8192> buffer;
  for (ssize_t bytes = 0; (bytes = read(events_, buffer.data(), buffer.size())) > 0;) {
    for (ssize_t at = 0; at < bytes;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
      const auto folder = watched_.find(event->wd);
      if (folder == watched_.end()) {  // too many events for the kernel's queue: some are lost
        change = {true, true, false};
        continue;
      }
      const std::string_view name = event->len > 0 ? event->name : "";
      const std::filesystem::path file = folder->second / name;
      change.journal = change.journal || file == warp.cachedItems();
      change.items = change.items || name.empty() || file == warp.manifestMirror() || file == warp.visibilityIndex() ||
                     file == warp.destroyedManifestIndex() ||
                     (folder->second == warp.manifestMirror() && name.ends_with(".json"));
      if ((event->mask & (IN_IGNORED | IN_MOVE_SELF)) != 0) watched_.erase(event->wd);
    }
  }
  return change;
}

void ContainerWatch::run() {
  Change pending{true, true, false};
  Change seen = pending;
  bool isCovered = cover();
  // What changed before the folders were watched, but after the domain had read it, is told by nobody.
  std::optional<Clock::time_point> secondLook = Clock::now() + kSecondLook;
  changed_(pending);
  pending = {};
  while (true) {
    milliseconds wait = isCovered ? milliseconds(-1) : kPoll;
    if (secondLook) {
      const auto left = std::chrono::ceil<milliseconds>(*secondLook - Clock::now());
      wait = std::max(milliseconds(0), wait.count() < 0 ? left : std::min(left, wait));
    }
    std::array<pollfd, 2> sources{pollfd{stop_, POLLIN, 0}, pollfd{events_, POLLIN, 0}};
    const int ready = poll(sources.data(), sources.size(), static_cast<int>(wait.count()));
    if (sources[0].revents != 0) return;
    if (ready > 0) {
      poll(sources.data(), 1, static_cast<int>(kSettle.count()));
      pending = readEvents();
    }
    const bool wasCovered = isCovered;
    isCovered = cover();
    // What came together with the folder was told by nobody.
    if (isCovered && !wasCovered) pending = {true, true, false};
    if (pending.items || pending.journal) {
      seen = secondLook ? seen | pending : pending;
      secondLook = Clock::now() + kSecondLook;
    } else if (secondLook && *secondLook <= Clock::now()) {
      pending = seen;
      secondLook.reset();
    } else if (!isCovered && ready == 0) {
      pending = {true, true, true};
    }
    if (pending.items || pending.journal) changed_(pending);
    pending = {};
  }
}

}  // namespace tovrin::host
