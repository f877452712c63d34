#include "provider/visibility.h"

namespace tovrin {

namespace {

bool isListedStatus(TovrinWarpSharedStatus status) {
  switch (status) {
    case TovrinWarpSharedStatus::verified:
    case TovrinWarpSharedStatus::replaced:
    case TovrinWarpSharedStatus::needsAttention:
      return true;
    case TovrinWarpSharedStatus::uploading:
    case TovrinWarpSharedStatus::failed:
      return false;
  }
  return false;
}

}  // namespace

ListedWarps::ListedWarps(ManifestIndexes& indexes) : named_(indexes.visibleWarpIDs()) {
  if (auto tombstones = indexes.tombstones(); tombstones && !(*tombstones)->records().empty()) {
    destroyed_ = std::move(*tombstones);
  }
}

bool ListedWarps::isManifestVisible(const IndexedManifest& indexed) const {
  const TovrinWarpSharedManifest& manifest = indexed.manifest();
  return isListedStatus(manifest.status) && indexed.hasFile() &&
         (!named_ || named_->contains(indexed.canonicalWarpID())) &&
         (!destroyed_ || !destroyed_->matches(manifest.warpID, manifest.manifestKey));
}

Date warpDate(const TovrinWarpSharedManifest& manifest) {
  if (manifest.replacedAt) return *manifest.replacedAt;
  return manifest.uploadedAt.value_or(manifest.createdAt);
}

}  // namespace tovrin
