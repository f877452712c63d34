#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/result.h"
#include "platform/directories.h"

namespace tovrin::host {

/// A folder in which running mounts have their control sockets: this user's alone, so whoever can reach a socket in it
/// may use it. Sockets are named through the open folder, which makes their names short and keeps the folder the one
/// that was examined.
class [[nodiscard]] ControlFolder {
 public:
  /// Made with mode 0700 when it is missing. Fails when it is not a folder of this user that is closed to others.
  static Result<ControlFolder> make(const std::filesystem::path& path);
  /// As `make`, and fails when it is missing.
  static Result<ControlFolder> open(const std::filesystem::path& path);
  /// Where the folder may be, the preferred place first: in $XDG_RUNTIME_DIR, else in the user's folder in /run/user;
  /// in the directory for temporary files.
  static std::vector<std::filesystem::path> places(const Directories& directories);

  ControlFolder(ControlFolder&& other) noexcept;
  ControlFolder& operator=(ControlFolder&&) = delete;
  ~ControlFolder();

  int descriptor() const { return descriptor_; }
  /// Of a name in the folder, for as long as this exists.
  std::filesystem::path pathOf(const std::string& name) const;
  /// Of the sockets that lie here, live or not.
  std::vector<std::string> socketNames() const;
  static std::string socketName(const std::string& domainKey);

 private:
  explicit ControlFolder(int descriptor) : descriptor_(descriptor) {}
  int descriptor_;
};

}  // namespace tovrin::host
