#pragma once

#include <filesystem>
#include <string_view>

#include "foundation/result.h"
#include "platform/directories.h"

namespace tovrin {

/// The directory that the main application and this process share, and the names of what lies in it. Nothing is made
/// here: writers create what they need.
class WarpDirectory {
 public:
  explicit WarpDirectory(std::filesystem::path path) : path_(std::move(path)) {}

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path manifestMirror() const { return path_ / "ManifestMirror"; }
  std::filesystem::path visibilityIndex() const { return path_ / "manifest-visibility-index.json"; }
  std::filesystem::path destroyedManifestIndex() const { return path_ / "destroyed-manifest-index.json"; }
  std::filesystem::path mutationLock() const { return path_ / "warp-mutation.lock"; }
  std::filesystem::path cachedItemsLock() const { return path_ / "warp-cached-items.lock"; }
  std::filesystem::path cachedItems() const { return path_ / "file-provider-cached-items.json"; }
  std::filesystem::path pendingWriteback() const { return path_ / "FileProviderPendingWriteback"; }
  std::filesystem::path materializationState() const { return path_ / "file-provider-materialization-state.json"; }
  std::filesystem::path renterdConnection() const { return path_ / "renterd-connection.json"; }
  std::filesystem::path finderBadgeUpdate() const { return path_ / "finder-badge-update.json"; }

 private:
  std::filesystem::path path_;
};

/// "Warp" in the app-group container, else "Tovrin/Warp" in Application Support, else NSCocoaErrorDomain 4.
Result<WarpDirectory> locateWarpDirectory(const Directories& directories);

}  // namespace tovrin
