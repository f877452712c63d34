#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "shared/manifest.h"
#include "shared/path_table.h"

namespace tovrin {

/// A decoded manifest with what is asked of it again and again, built once: about 15 bytes per entry and 45 per folder.
/// Immutable to its users and safe to use from any thread; a folder is brought into Finder order when it is first
/// listed.
class IndexedManifest {
 public:
  explicit IndexedManifest(TovrinWarpSharedManifest manifest);

  const TovrinWarpSharedManifest& manifest() const { return manifest_; }
  /// The Warp's identity in the form in which texts are compared by canonical equivalence.
  const std::string& canonicalWarpID() const { return canonicalWarpID_; }
  /// At least one entry of kind `file`.
  bool hasFile() const { return hasFile_; }
  /// The rule of that name, which is asked whenever the manifest is.
  bool hasOnlyAbsolutePaths() const { return hasOnlyAbsolutePaths_; }

  /// The entry whose path has exactly these bytes, or null.
  const TovrinWarpSharedEntry* entryAt(std::string_view relativePath) const;

  /// The file whose content this hard link shares, by canonical equivalence of the path; null when the entry is no hard
  /// link or the other entry is no file.
  const TovrinWarpSharedEntry* hardLinkPrimary(const TovrinWarpSharedEntry& entry) const;

  /// The entries (as indexes into the manifest's) whose parent is the Warp's own folder, in Finder order of their
  /// names. The Warp's root entry has no parent and is in no list.
  std::span<const std::uint32_t> topLevelEntries() const;
  /// The entries whose parent path has exactly these bytes, in Finder order of their names.
  std::span<const std::uint32_t> childrenOf(std::string_view folderPath) const;

  /// The path of the folder inside the Warp that holds this entry of the manifest; nothing for the entries of the
  /// Warp's own folder and for its root entry. A view into the entry's path.
  std::optional<std::string_view> enclosingFolder(const TovrinWarpSharedEntry& entry) const;

 private:
  struct Folder {
    std::string_view path;
    std::uint32_t first = 0;  ///< of its group in `children_`
    std::uint32_t count = 0;
  };

  void indexPaths();
  void groupByFolder();
  void uniteTopLevel();
  std::span<const std::uint32_t> inFinderOrder(std::uint32_t folder) const;

  TovrinWarpSharedManifest manifest_;
  std::string canonicalWarpID_;
  std::size_t rootDepth_ = 0;
  bool hasFile_ = false;
  bool hasOnlyAbsolutePaths_ = false;

  PathTable entryTable_;
  std::vector<Folder> folders_;
  PathTable folderTable_;
  std::uint32_t topLevel_ = 0;
  mutable std::vector<std::uint32_t> children_;  ///< grouped by folder; a group is reordered once, under its flag
  std::unique_ptr<std::once_flag[]> ordered_;    ///< one per folder
};

/// An entry that keeps its manifest alive.
using SharedEntry = std::shared_ptr<const TovrinWarpSharedEntry>;

inline SharedEntry shareEntry(const std::shared_ptr<const IndexedManifest>& manifest,
                              const TovrinWarpSharedEntry& entry) {
  return {manifest, &entry};
}

}  // namespace tovrin
