#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "shared/manifest.h"

namespace tovrin {

/// A decoded manifest with what is asked of it again and again, built once. Immutable to its users and safe to use from
/// any thread; folders are brought into Finder order when they are first listed.
class IndexedManifest {
 public:
  explicit IndexedManifest(TovrinWarpSharedManifest manifest);

  const TovrinWarpSharedManifest& manifest() const { return manifest_; }

  /// The entry whose path has exactly these bytes, or null.
  const TovrinWarpSharedEntry* entryAt(std::string_view relativePath) const;

  /// The entries whose parent is the Warp's own folder, in Finder order of their names.
  std::span<const std::uint32_t> topLevelEntries() const;
  /// The entries (as indexes into the manifest's) whose parent path has exactly these bytes, in Finder order.
  std::span<const std::uint32_t> childrenOf(std::string_view folderPath) const;

  /// At least one entry of kind `file`.
  bool hasFile() const { return hasFile_; }

 private:
  struct Folder {
    std::uint32_t first = 0;
    std::uint32_t count = 0;
    mutable std::once_flag sorted;
  };
  std::span<const std::uint32_t> inFinderOrder(const Folder& folder) const;

  TovrinWarpSharedManifest manifest_;
  bool hasFile_ = false;
  /// Open addressing over the paths' hashes: entry index + 1, 0 for a free slot.
  std::vector<std::uint32_t> slots_;
  std::unordered_map<std::string_view, Folder> folders_;
  Folder topLevel_;
  mutable std::vector<std::uint32_t> children_;  ///< grouped by folder; a group is reordered once, under its flag
};

/// An entry that keeps its manifest alive.
using SharedEntry = std::shared_ptr<const TovrinWarpSharedEntry>;

inline SharedEntry shareEntry(const std::shared_ptr<const IndexedManifest>& manifest, const TovrinWarpSharedEntry& entry) {
  return {manifest, &entry};
}

}  // namespace tovrin
