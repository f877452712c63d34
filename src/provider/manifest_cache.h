#pragma once

#include <cstddef>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/date.h"
#include "platform/platform.h"
#include "shared/manifest_store.h"

namespace tovrin {

/// The manifests as they were read last, kept for 0.75 seconds: a burst of calls costs one look at the disk. Expires by
/// itself and is never invalidated. Thread-safe; whoever needs manifests that are being read waits for that reading.
class ManifestCache {
 public:
  explicit ManifestCache(const Platform& platform) : platform_(platform), store_(platform) {}

  /// All of them, newest first; those that were looked up one by one since the last reading stand in their old place or
  /// at the end.
  std::vector<SharedManifest> all();

  /// The first manifest of this Warp. When the cache is stale or does not know the Warp, reads that one manifest and
  /// takes it in, which makes the cache no fresher. Null when there is none or it cannot be read.
  SharedManifest forWarpID(std::string_view warpID);

  ManifestStore& store() { return store_; }

 private:
  bool isFresh(Date now) const { return now - cachedManifestLoadAt_ < manifestCacheLifetime_; }
  void replaceAll(std::vector<SharedManifest> manifests);
  void replaceOrAppend(const SharedManifest& manifest);

  Platform platform_;
  ManifestStore store_;
  const double manifestCacheLifetime_ = 0.75;

  std::mutex manifestCacheLock_;  ///< guards what follows; held across the reading
  Date cachedManifestLoadAt_ = Date::distantPast();
  std::vector<SharedManifest> cachedManifests_;
  std::unordered_map<std::string_view, std::size_t> firstOfWarp_;  ///< by warpID; the keys lie in the manifests
};

}  // namespace tovrin
