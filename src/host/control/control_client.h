#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/result.h"
#include "host/control/mount_control.h"
#include "platform/directories.h"

namespace tovrin::host {

struct ControlRequest;

/// What MountControl offers, of a mount that another process runs. Every operation may fail besides because that
/// process ends (NSPOSIXErrorDomain ECONNRESET or ECONNREFUSED): what it did by then is not known. Each operation has a
/// connection of its own; safe to use from any thread.
class ControlClient {
 public:
  /// Of the mount that presents the domain of these directories; nothing when there is none.
  static std::optional<ControlClient> find(const Directories& directories);
  /// Of every mount of this user.
  static std::vector<ControlClient> findAll(const Directories& directories);

  /// NSPOSIXErrorDomain ETIMEDOUT when there is no answer in time.
  Result<MountStatus> status(std::chrono::milliseconds patience = std::chrono::seconds(10)) const;
  Result<std::vector<EvictOutcome>> evict(const std::vector<NSFileProviderItemIdentifier>& items) const;
  Result<std::vector<EvictOutcome>> evictAll() const;
  /// When `stop` is requested: NSCocoaErrorDomain 3072, and the mount gives up unless others wait for the file, too.
  Result<void> fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) const;
  /// When `stop` is requested: NSCocoaErrorDomain 3072, and the mount goes on in its own time.
  Result<std::vector<MountStatus::KeptEdit>> handOverEdits(std::stop_token stop) const;

 private:
  ControlClient(std::filesystem::path folder, std::string socketName)
      : folder_(std::move(folder)), socketName_(std::move(socketName)) {}

  bool isAnswering() const;
  template <class Value>
  Result<Value> ask(const ControlRequest& request, std::stop_token stop,
                    std::optional<std::chrono::milliseconds> patience) const;

  std::filesystem::path folder_;
  std::string socketName_;
};

struct RunningMount {
  ControlClient control;
  MountStatus status;  ///< when it was found
};

/// Those of this user that answer.
std::vector<RunningMount> runningMounts(const Directories& directories);

/// The one at this mountpoint; nothing when there is none that answers. Does not look into the mountpoint, which may
/// hang.
std::optional<RunningMount> runningMountAt(const std::filesystem::path& mountpoint, const Directories& directories);

}  // namespace tovrin::host
