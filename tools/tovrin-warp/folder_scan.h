#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "foundation/result.h"
#include "shared/manifest.h"

namespace tovrin::warp {

/// One file, folder or symbolic link as it lies on disk.
struct ScannedObject {
  std::string relativePath;  ///< empty for the scanned folder itself
  TovrinWarpSharedEntryKind kind = TovrinWarpSharedEntryKind::file;
  std::int64_t size = 0;
  std::int64_t modificationTimeNanoseconds = 0;
  std::int64_t statusChangeTimeNanoseconds = 0;
  std::optional<std::int64_t> birthTimeNanoseconds;
  std::uint32_t ownerUserID = 0;
  std::uint32_t ownerGroupID = 0;
  std::uint16_t posixPermissions = 0;
  std::string symlinkTarget;
  TovrinWarpSharedHardLinkIdentity identity;
  bool hasOtherLinks = false;

  std::string_view name() const;
};

struct FolderScan {
  std::vector<ScannedObject> objects;  ///< the folder itself first, parents before children, names by their bytes
  std::vector<std::string> skipped;    ///< relative paths of pipes, sockets and devices, which no Warp can hold
};

/// The marker that a warped folder carries; it belongs to the system and not to the folder's contents.
inline constexpr std::string_view kMarkerName = ".tovrin-warped.json";

/// Everything below `folder`, whose marker is left out. A name that is not UTF-8 is an error, because a manifest could
/// not name it.
Result<FolderScan> scanFolder(const std::filesystem::path& folder);

}  // namespace tovrin::warp
