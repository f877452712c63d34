#include "provider/enumerator.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "foundation/date.h"
#include "platform/sha256.h"
#include "provider/failure_as_absence.h"
#include "provider/folder_items.h"
#include "provider/identifier.h"

namespace tovrin {

namespace {

/// The children of each kind of container.
struct ChildLister {
  TovrinFileProviderTree& tree;

  std::vector<SharedItem> operator()(const TovrinFileProviderIdentifier::WarpedRoot&) const {
    return tree.childrenOfAbsoluteFolder(std::nullopt);
  }
  std::vector<SharedItem> operator()(const TovrinFileProviderIdentifier::AbsoluteDirectory& folder) const {
    return tree.childrenOfAbsoluteFolder(folder.path);
  }
  std::vector<SharedItem> operator()(const TovrinFileProviderIdentifier::Manifest& warp) const {
    return tree.childrenOfWarp(warp.warpID);
  }
  std::vector<SharedItem> operator()(const TovrinFileProviderIdentifier::Entry& entry) const {
    return tree.childrenOfEntry(entry.warpID, entry.relativePath);
  }
};

std::string timeText(std::optional<Date> date) { return shortestDecimal(date.value_or(Date{}).secondsSince1970); }

}  // namespace

void TovrinFileProviderEnumerator::enumerateItems(NSFileProviderEnumerationObserver& observer,
                                                  const NSFileProviderPage&) {
  observer.didEnumerateItems(currentItems());
  observer.finishEnumeratingUpToPage(std::nullopt);
}

void TovrinFileProviderEnumerator::enumerateChanges(NSFileProviderChangeObserver& observer,
                                                    const NSFileProviderSyncAnchor& anchor) {
  // The anchor first: one that is newer than the items would hide what changes in between.
  const NSFileProviderSyncAnchor current = anchorNow();
  if (current != anchor) observer.didUpdateItems(currentItems());
  observer.finishEnumeratingChangesUpToSyncAnchor(current, false);
}

void TovrinFileProviderEnumerator::currentSyncAnchor(
    const std::function<void(const NSFileProviderSyncAnchor&)>& completion) {
  completion(anchorNow());
}

std::vector<SharedItem> TovrinFileProviderEnumerator::currentItems() const {
  return emptyOnFailure([&] { return childItems(containerItemIdentifier_, *tree_); });
}

NSFileProviderSyncAnchor TovrinFileProviderEnumerator::anchorNow() const {
  return emptyOnFailure([&] { return syncAnchor(*tree_); });
}

std::vector<SharedItem> childItems(const NSFileProviderItemIdentifier& container, TovrinFileProviderTree& tree) {
  if (container == NSFileProviderWorkingSetContainerItemIdentifier) return tree.wholeDomain();
  if (container == NSFileProviderRootContainerItemIdentifier) return {warpedRootItem(tree.latestWarpDate())};
  const auto parsed = TovrinFileProviderIdentifier::parse(container);
  if (!parsed) return {};
  return std::visit(ChildLister{tree}, parsed->value);
}

NSFileProviderSyncAnchor syncAnchor(TovrinFileProviderTree& tree) {
  std::vector<SharedManifest> manifests = tree.visibleManifests();
  std::ranges::stable_sort(manifests, {}, &IndexedManifest::canonicalWarpID);
  std::string text;
  for (const SharedManifest& manifest : manifests) {
    if (!text.empty()) text += '|';
    text += warpDescriptor(manifest->manifest());
  }
  return sha256Hex(text);
}

std::string warpDescriptor(const TovrinWarpSharedManifest& manifest) {
  std::string text(manifest.warpID);
  text.append(":").append(rawValue(manifest.status));
  text.append(":").append(std::to_string(manifest.entries.size()));
  text.append(":").append(timeText(manifest.replacedAt));
  text.append(":").append(timeText(manifest.uploadedAt));
  return text;
}

}  // namespace tovrin
