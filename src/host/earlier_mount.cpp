#include "host/earlier_mount.h"

#include <fmt/core.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "host/control/control_client.h"
#include "host/log.h"
#include "host/mounting/mount_table.h"

namespace tovrin::host {

namespace {

using std::chrono::milliseconds;

/// Longer than an ending mount waits for edits to be taken.
constexpr milliseconds kPatience{30'000};
/// A wait that people notice is worth a line.
constexpr milliseconds kNoticed{1'000};
constexpr milliseconds kBetweenLooks{20};

bool isInUse(const NSError& error) { return error.domain() == NSPOSIXErrorDomain && error.code() == EBUSY; }

/// Why waiting is of no use; nothing when the mount is unmounted already.
std::optional<NSError> stillMounted(const Directories& directories) {
  const auto client = ControlClient::find(directories);
  const auto status = client ? client->status() : failure(NSError::posix(ENOENT));
  const auto all = mountedFileSystems();
  if (!status || !all) return std::nullopt;
  const auto mounted = mountedAt(*all, status->mountpoint);
  if (!mounted || !isTovrin(*mounted)) return std::nullopt;
  return NSError::posix(EBUSY, fmt::format("The container is mounted already, at {} by process {}.",
                                           status->mountpoint.string(), status->processID));
}

/// False when `stop` was requested meanwhile.
bool pause(const std::stop_token& stop) {
  std::mutex lock;
  std::condition_variable_any never;
  std::unique_lock hold(lock);
  return !never.wait_for(hold, stop, kBetweenLooks, [&] { return stop.stop_requested(); });
}

}  // namespace

Result<std::unique_ptr<ReplicaStore>> openStoreAfterEarlierMount(const StoreFolders& folders, const StoreLimits& limits,
                                                                 const Directories& directories, std::stop_token stop) {
  auto store = ReplicaStore::open(folders, limits);
  if (store || !isInUse(store.error())) return store;
  if (auto mounted = stillMounted(directories)) return failure(*std::move(mounted));
  const auto start = std::chrono::steady_clock::now();
  bool isSaid = false;
  while (!store && isInUse(store.error())) {
    const auto waited = std::chrono::steady_clock::now() - start;
    if (waited > kPatience) return store;
    if (waited > kNoticed && !isSaid)
      log::warning("{} It may be ending: waiting", store.error().localizedDescription());
    isSaid = waited > kNoticed;
    if (!pause(stop)) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    store = ReplicaStore::open(folders, limits);
  }
  return store;
}

}  // namespace tovrin::host
