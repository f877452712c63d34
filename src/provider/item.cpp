#include "provider/item.h"

#include "foundation/caught.h"

#include <memory>
#include <utility>
#include <variant>

#include "provider/entry_items.h"
#include "provider/folder_items.h"
#include "provider/identifier.h"
#include "provider/tree.h"

namespace tovrin {

NSFileProviderItemCapabilities TovrinFileProviderItem::capabilities() const {
  if (fields_.contentType == UTType::folder()) return NSFileProviderItemCapabilitiesAllowsReading;
  return NSFileProviderItemCapabilitiesAllowsReading | NSFileProviderItemCapabilitiesAllowsWriting;
}

NSFileProviderContentPolicy TovrinFileProviderItem::contentPolicy() const {
  return fields_.contentType == UTType::folder() ? NSFileProviderContentPolicy::inherited
                                                 : NSFileProviderContentPolicy::downloadLazily;
}

bool TovrinFileProviderItem::isUploaded() const {
  if (!fields_.warpID || !fields_.entry) return true;
  const Result<bool> hasPending = caught(
      [&]() -> Result<bool> { return journal_->hasPendingWriteback(*fields_.warpID, fields_.entry->relativePath); });
  return !hasPending.value_or(false);
}

NSFileProviderItemVersion TovrinFileProviderItem::itemVersion() const {
  std::string text = fields_.filename;
  text.append("-").append(std::to_string(fields_.documentSize.value_or(0)));
  text.append("-").append(shortestDecimal(fields_.contentModificationDate.value_or(Date{}).secondsSince1970));
  return {.contentVersion = text, .metadataVersion = std::move(text)};
}

SharedItem TovrinFileProviderItem::withEditedContents(std::int64_t documentSize, Date contentModificationDate) const {
  Fields edited = fields_;
  edited.documentSize = documentSize;
  edited.contentModificationDate = contentModificationDate;
  return std::make_shared<const TovrinFileProviderItem>(std::move(edited), journal_);
}

bool isFolder(const TovrinFileProviderItem& item) { return item.contentType() == UTType::folder(); }

bool isSymbolicLink(const TovrinFileProviderItem& item) {
  return item.entry() && item.entry()->kind == TovrinWarpSharedEntryKind::symlink;
}

namespace {

/// The item of each kind of identifier.
struct ItemMaker {
  TovrinFileProviderTree& tree;

  SharedItem operator()(const TovrinFileProviderIdentifier::WarpedRoot&) const {
    return warpedRootItem(tree.latestWarpDate());
  }

  SharedItem operator()(const TovrinFileProviderIdentifier::AbsoluteDirectory& folder) const {
    return absoluteFolderItem(folder.path, tree.latestWarpDate());
  }

  SharedItem operator()(const TovrinFileProviderIdentifier::Manifest& named) const {
    const SharedManifest manifest = tree.manifestForWarpID(named.warpID);
    return manifest ? warpItem(manifest) : nullptr;
  }

  SharedItem operator()(const TovrinFileProviderIdentifier::Entry& named) const {
    const SharedManifest manifest = tree.manifestForWarpID(named.warpID);
    const TovrinWarpSharedEntry* entry = manifest ? manifest->entryAt(named.relativePath) : nullptr;
    return entry != nullptr ? makeEntryItem(*entry, manifest, tree) : nullptr;
  }
};

}  // namespace

SharedItem makeItem(const NSFileProviderItemIdentifier& identifier, TovrinFileProviderTree& tree) {
  if (identifier == NSFileProviderRootContainerItemIdentifier) return rootItem(tree.latestWarpDate());
  const auto parsed = TovrinFileProviderIdentifier::parse(identifier);
  if (!parsed) return nullptr;
  return std::visit(ItemMaker{tree}, parsed->value);
}

SharedItem makeEntryItem(const TovrinWarpSharedEntry& entry, const SharedManifest& manifest,
                         TovrinFileProviderTree& tree) {
  return EntryItems(manifest, tree.journal()).make(entry);
}

}  // namespace tovrin
