#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "local/cached_items.h"
#include "platform/platform.h"
#include "provider/manifest_cache.h"
#include "provider/replicated_extension.h"
#include "shared/manifest_indexes.h"
#include "shared/manifest_store.h"

namespace tovrin {

/// The domain's view of the shared state: which Warps there are, which of them are shown, and the folders above them.
/// Keeps the manifests for 0.75 seconds; the indexes are looked at on every call. Thread-safe; unreadable shared files
/// count as empty.
class TovrinFileProviderTree {
 public:
  /// Items made from the tree keep `journal` and ask it whether they are uploaded.
  TovrinFileProviderTree(const Platform& platform, std::shared_ptr<CachedItemsJournal> journal);

  /// All manifests, newest first.
  std::vector<SharedManifest> cachedManifests() { return cache_.all(); }
  /// Those that are listed: not destroyed, in a listed status, with a file, and named by the visibility index if there
  /// is one.
  std::vector<SharedManifest> visibleManifests();
  /// Hidden Warps included; null when there is none.
  SharedManifest manifestForWarpID(std::string_view warpID) { return cache_.forWarpID(warpID); }
  /// The newest date of the visible Warps.
  std::optional<Date> latestWarpDate();

  /// The folders and Warps in "Warped Files" (no path) or in an absolute folder, in Finder order.
  std::vector<SharedItem> childrenOfAbsoluteFolder(const std::optional<std::string>& path);
  /// The entries at the top of a Warp, in Finder order.
  std::vector<SharedItem> childrenOfWarp(std::string_view warpID);
  /// The entries in a directory entry, in Finder order.
  std::vector<SharedItem> childrenOfEntry(std::string_view warpID, std::string_view relativePath);
  /// Every item of the domain but its root.
  std::vector<SharedItem> wholeDomain();

  ManifestStore& store() { return cache_.store(); }
  ManifestIndexes& indexes() { return indexes_; }
  const std::shared_ptr<CachedItemsJournal>& journal() const { return journal_; }

 private:
  std::shared_ptr<CachedItemsJournal> journal_;
  ManifestCache cache_;
  ManifestIndexes indexes_;
};

}  // namespace tovrin
