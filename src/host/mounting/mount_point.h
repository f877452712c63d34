#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/result.h"
#include "host/mounting/mount_table.h"

namespace tovrin::host {

/// The path without links, "." and "..", also of a mountpoint whose file system has died and cannot be looked into.
/// The last name need not exist.
Result<std::filesystem::path> resolveMountpoint(const std::filesystem::path& path);

/// An empty folder to mount at. A folder that is made for this takes no files while nothing is mounted there, since
/// the next mount would hide them, and is removed with this object.
class [[nodiscard]] MountPoint {
 public:
  /// Makes the folder when it is missing, and takes off a mount of ours whose process has died. Fails for everything
  /// that is not an empty folder, and where something is mounted.
  static Result<MountPoint> prepare(const std::filesystem::path& path);

  MountPoint(MountPoint&& other) noexcept;
  MountPoint& operator=(MountPoint&&) = delete;
  /// Nothing may be mounted there any more.
  ~MountPoint();

  const std::filesystem::path& path() const { return path_; }
  /// What was done that the user should know, a sentence each.
  const std::vector<std::string>& remarks() const { return remarks_; }

  /// Somebody else has removed the folder since it was prepared.
  bool hasVanished() const;
  /// To be called once it is mounted: from then on the bare folder below takes no files, if it was made here.
  void seal();
  /// Takes what was mounted here out of sight at once. A mount that has come here since stays.
  void takeOff() const;
  /// Removes the folder if it was made here.
  void removeFolder();

 private:
  explicit MountPoint(std::filesystem::path path) : path_(std::move(path)) {}
  /// What is mounted there then.
  Result<std::optional<MountedFileSystem>> takeOffDeadMounts();
  Result<void> makeFolder();
  Result<void> openFolder();

  std::filesystem::path path_;
  std::vector<std::string> remarks_;
  bool isMade_ = false;
  int folder_ = -1;        ///< the bare folder, until it is sealed
  mode_t sealedMode_ = 0;  ///< of the folder, once it is sealed
  dev_t device_ = 0;       ///< what was mounted when it was sealed
};

}  // namespace tovrin::host
