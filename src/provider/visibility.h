#pragma once

#include <memory>
#include <string>
#include <unordered_set>

#include "foundation/date.h"
#include "shared/indexed_manifest.h"
#include "shared/manifest_indexes.h"

namespace tovrin {

/// Which Warps are listed, by the indexes as they are when this is made. A hidden Warp can still be looked up.
class ListedWarps {
 public:
  explicit ListedWarps(ManifestIndexes& indexes);

  bool isManifestVisible(const IndexedManifest& manifest) const;

 private:
  std::shared_ptr<const std::unordered_set<std::string>> named_;  ///< null: every Warp
  std::shared_ptr<const Tombstones> destroyed_;                   ///< null: none
};

/// When the Warp was last replaced, else uploaded, else made.
Date warpDate(const TovrinWarpSharedManifest& manifest);

}  // namespace tovrin
