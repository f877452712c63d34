#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "foundation/date.h"
#include "platform/platform.h"
#include "shared/decoded_file.h"
#include "shared/manifest.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// Which Warps the main application currently presents.
struct TovrinWarpSharedManifestVisibilityIndex {
  Date generatedAt;
  std::vector<std::string> visibleWarpIDs;
};

/// The tombstone of a Warp that was restored; such a Warp is not offered even if a stale manifest remains.
struct TovrinWarpSharedDestroyedManifestRecord {
  std::string warpID;
  std::string manifestKey;
  std::string originalFolderPath;
  Date destroyedAt;

  friend bool operator==(const TovrinWarpSharedDestroyedManifestRecord&,
                         const TovrinWarpSharedDestroyedManifestRecord&) = default;
};

struct TovrinWarpSharedDestroyedManifestIndex {
  std::int64_t version = 1;
  Date generatedAt;
  std::vector<TovrinWarpSharedDestroyedManifestRecord> records;
};

/// The tombstones with a probe by Warp and by manifest key.
class Tombstones {
 public:
  Tombstones() = default;
  explicit Tombstones(std::vector<TovrinWarpSharedDestroyedManifestRecord> records);

  /// In file order.
  const std::vector<TovrinWarpSharedDestroyedManifestRecord>& records() const { return records_; }
  /// By canonical equivalence of either.
  bool matches(std::string_view warpID, std::string_view manifestKey) const;

 private:
  std::vector<TovrinWarpSharedDestroyedManifestRecord> records_;
  std::unordered_set<std::string> warpIDs_;
  std::unordered_set<std::string> manifestKeys_;
};

/// The indexes that the main application writes beside the manifests; only read here, decoded again when they changed.
/// Thread-safe, takes no lock that another process could hold.
class ManifestIndexes {
 public:
  explicit ManifestIndexes(const Platform& platform) : platform_(platform) {}

  /// The visible warpIDs (canonical forms), or null when the index is missing or cannot be read: that is not an empty
  /// set.
  std::shared_ptr<const std::unordered_set<std::string>> visibleWarpIDs();

  /// No file is an empty list. A broken rule is NSCocoaErrorDomain 259, whatever cannot be decoded its own error.
  Result<std::shared_ptr<const Tombstones>> tombstones();

  /// Whether a local change may still be applied: the Warp is not destroyed and its folder still carries its marker.
  /// Unreadable tombstones count as none.
  bool isManifestLive(const TovrinWarpSharedManifest& manifest);

 private:
  Platform platform_;
  DecodedFile<std::unordered_set<std::string>> visibility_;
  DecodedFile<Tombstones> tombstones_;
};

/// Why `visibleWarpIDs` is null: the error of locating, reading or decoding the index.
Result<TovrinWarpSharedManifestVisibilityIndex> loadVisibilityIndex(const Directories& directories);

/// The Warp that the marker file in this folder names, or nothing.
std::optional<std::string> markedWarpID(std::string_view originalFolderPath);

}  // namespace tovrin
