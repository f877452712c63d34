#pragma once

#include <memory>
#include <string>
#include <vector>

#include "provider/replicated_extension.h"
#include "provider/tree.h"

namespace tovrin {

/// Lists one container, in one batch, and tells changes by one fingerprint of all visible Warps. Keeps no state.
class TovrinFileProviderEnumerator final : public NSFileProviderEnumerator {
 public:
  TovrinFileProviderEnumerator() = delete;
  TovrinFileProviderEnumerator(NSFileProviderItemIdentifier containerItemIdentifier,
                               std::shared_ptr<TovrinFileProviderTree> tree)
      : containerItemIdentifier_(std::move(containerItemIdentifier)), tree_(std::move(tree)) {}

  void invalidate() override {}
  void enumerateItems(NSFileProviderEnumerationObserver& observer, const NSFileProviderPage& page) override;
  void enumerateChanges(NSFileProviderChangeObserver& observer, const NSFileProviderSyncAnchor& anchor) override;
  void currentSyncAnchor(const std::function<void(const NSFileProviderSyncAnchor&)>& completion) override;

 private:
  std::vector<SharedItem> currentItems() const;
  NSFileProviderSyncAnchor anchorNow() const;

  NSFileProviderItemIdentifier containerItemIdentifier_;
  std::shared_ptr<TovrinFileProviderTree> tree_;
};

/// The items of a container; empty for one that cannot be listed.
std::vector<SharedItem> childItems(const NSFileProviderItemIdentifier& container, TovrinFileProviderTree& tree);

/// 64 lower-case hexadecimal digits over the visible Warps, whatever the container.
NSFileProviderSyncAnchor syncAnchor(TovrinFileProviderTree& tree);
/// One Warp's share of what the anchor hashes.
std::string warpDescriptor(const TovrinWarpSharedManifest& manifest);

}  // namespace tovrin
