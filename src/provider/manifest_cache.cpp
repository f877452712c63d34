#include "provider/manifest_cache.h"

#include <utility>

namespace tovrin {

std::vector<SharedManifest> ManifestCache::all() {
  const std::lock_guard hold(manifestCacheLock_);
  const Date now = platform_.clock.now();
  if (!isFresh(now)) {
    replaceAll(store_.loadAll());
    cachedManifestLoadAt_ = now;
  }
  return cachedManifests_;
}

SharedManifest ManifestCache::forWarpID(std::string_view warpID) {
  const std::lock_guard hold(manifestCacheLock_);
  if (isFresh(platform_.clock.now())) {
    const auto known = firstOfWarp_.find(warpID);
    if (known != firstOfWarp_.end()) return cachedManifests_[known->second];
  }
  const Result<SharedManifest> loaded = store_.load(warpID);
  if (!loaded || !*loaded) return nullptr;
  replaceOrAppend(*loaded);
  return *loaded;
}

void ManifestCache::replaceAll(std::vector<SharedManifest> manifests) {
  std::unordered_map<std::string_view, std::size_t> positions;
  positions.reserve(manifests.size());
  for (std::size_t i = 0; i < manifests.size(); ++i) positions.try_emplace(manifests[i]->manifest().warpID, i);
  firstOfWarp_ = std::move(positions);
  cachedManifests_ = std::move(manifests);
}

void ManifestCache::replaceOrAppend(const SharedManifest& manifest) {
  const std::string_view warpID = manifest->manifest().warpID;
  auto known = firstOfWarp_.extract(warpID);
  if (known.empty()) {
    cachedManifests_.reserve(cachedManifests_.size() + 1);
    firstOfWarp_.emplace(warpID, cachedManifests_.size());
    cachedManifests_.push_back(manifest);
    return;
  }
  // The key lies in the manifest that goes.
  known.key() = warpID;
  cachedManifests_[known.mapped()] = manifest;
  firstOfWarp_.insert(std::move(known));
}

}  // namespace tovrin
