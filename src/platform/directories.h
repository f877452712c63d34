#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "foundation/result.h"

namespace tovrin {

/// Where this installation keeps what it shares and what it makes. None of these places changes while the process
/// runs. Safe to use from any thread.
class Directories {
 public:
  virtual ~Directories() = default;

  /// The container shared with the main application, when this process has one.
  virtual std::optional<std::filesystem::path> appGroupContainer() const = 0;
  /// The user's Application Support directory ($XDG_DATA_HOME or ~/.local/share on Linux).
  virtual std::optional<std::filesystem::path> applicationSupport() const = 0;
  /// The user's directory for what a program remembers on this machine ($XDG_STATE_HOME or ~/.local/state on Linux).
  virtual std::optional<std::filesystem::path> localState() const = 0;
  /// The provider's temporary directory for delivered files; nothing when there is no manager for the domain, an
  /// error when the manager cannot name it.
  virtual std::optional<Result<std::filesystem::path>> providerTemporaryDirectory() const = 0;
  /// The system's directory for temporary files.
  virtual std::filesystem::path temporaryDirectory() const = 0;
};

/// The directories of this user, from the environment at the moment of the call. `appGroupContainer` is what the user
/// named as the container shared with the main application; a relative path counts from the working directory.
std::unique_ptr<Directories> makeDirectories(std::optional<std::filesystem::path> appGroupContainer = {});

}  // namespace tovrin
