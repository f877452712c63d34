#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "local/cached_items.h"
#include "platform/platform.h"
#include "provider/replicated_extension.h"
#include "shared/manifest_indexes.h"
#include "shared/manifest_store.h"

namespace tovrin {

/// The domain's view of the shared state: which Warps there are, which of them are shown, and the folders above them. Keeps
/// the manifests for 0.75 seconds. Thread-safe; unreadable shared files count as empty.
class TovrinFileProviderTree {
 public:
  /// `journal` outlives the tree and everything made from it; items ask it whether they are uploaded.
  TovrinFileProviderTree(const Platform& platform, std::shared_ptr<CachedItemsJournal> journal);

  /// All manifests, newest first.
  std::vector<SharedManifest> cachedManifests();
  /// Those that are listed: not destroyed, in a listed status, with a file, and named by the visibility index if there is one.
  std::vector<SharedManifest> visibleManifests();
  /// Hidden Warps included; null when there is none.
  SharedManifest manifestForWarpID(std::string_view warpID);
  /// The newest date of the visible Warps.
  std::optional<Date> latestWarpDate();

  /// The folders and Warps in "Warped Files" (no path) or in an absolute folder, in Finder order.
  std::vector<SharedItem> childrenOfAbsoluteFolder(const std::optional<std::string>& path);
  std::vector<SharedItem> childrenOfWarp(std::string_view warpID);
  std::vector<SharedItem> childrenOfEntry(std::string_view warpID, std::string_view relativePath);
  /// Every item of the domain but its root.
  std::vector<SharedItem> wholeDomain();

  ManifestStore& store() { return store_; }
  ManifestIndexes& indexes() { return indexes_; }
  const std::shared_ptr<CachedItemsJournal>& journal() const { return journal_; }

 private:
  Platform platform_;
  std::shared_ptr<CachedItemsJournal> journal_;
  ManifestStore store_;
  ManifestIndexes indexes_;

  std::mutex manifestCacheLock_;
  Date cachedManifestLoadAt_ = Date::distantPast();
  std::vector<SharedManifest> cachedManifests_;
  double manifestCacheLifetime_ = 0.75;
};

}  // namespace tovrin
