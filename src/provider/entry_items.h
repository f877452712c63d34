#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "local/cached_items.h"
#include "provider/item.h"
#include "shared/manifest_store.h"

namespace tovrin {

/// Makes the items of one manifest's entries. The parent's identifier is kept from one entry to the next: entries of
/// one folder usually follow each other. Belongs to one thread.
class EntryItems {
 public:
  EntryItems(SharedManifest manifest, std::shared_ptr<CachedItemsJournal> journal);
  /// `named` is the manifest that the Warp's identity leads to, when that is another one of the same Warp: the parents
  /// follow its folder.
  EntryItems(SharedManifest manifest, const SharedManifest& named, std::shared_ptr<CachedItemsJournal> journal);

  SharedItem make(const TovrinWarpSharedEntry& entry);

 private:
  const std::string& parentIdentifier(const TovrinWarpSharedEntry& entry);

  SharedManifest manifest_;
  SharedManifest foreign_;  ///< null when the parents follow `manifest_` itself
  std::shared_ptr<CachedItemsJournal> journal_;
  std::string warpIdentifier_;
  std::string_view lastFolder_;
  std::string lastFolderIdentifier_;
};

}  // namespace tovrin
