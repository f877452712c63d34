#include "provider/entry_items.h"

#include <cstdint>
#include <optional>
#include <utility>

#include "foundation/path.h"
#include "provider/identifier.h"

namespace tovrin {

namespace {

UTType contentType(const TovrinWarpSharedEntry& entry) {
  switch (entry.kind) {
    case TovrinWarpSharedEntryKind::directory:
      return UTType::folder();
    case TovrinWarpSharedEntryKind::symlink:
      return UTType::symbolicLink();
    case TovrinWarpSharedEntryKind::file:
      break;
  }
  return UTType::forFilenameExtension(pathExtension(entry.relativePath));
}

std::optional<Date> dateOf(std::optional<std::int64_t> nanoseconds) {
  if (!nanoseconds || *nanoseconds < 1) return std::nullopt;
  return Date::fromNanoseconds(*nanoseconds);
}

std::optional<std::int64_t> documentSize(const TovrinWarpSharedEntry& entry) {
  if (entry.kind != TovrinWarpSharedEntryKind::file) return std::nullopt;
  return entry.size;
}

}  // namespace

EntryItems::EntryItems(SharedManifest manifest, std::shared_ptr<CachedItemsJournal> journal)
    : manifest_(std::move(manifest)),
      journal_(std::move(journal)),
      warpIdentifier_(manifestIdentifier(manifest_->manifest().warpID)) {}

EntryItems::EntryItems(SharedManifest manifest, const SharedManifest& named,
                       std::shared_ptr<CachedItemsJournal> journal)
    : EntryItems(std::move(manifest), std::move(journal)) {
  if (named != manifest_) foreign_ = named;
}

SharedItem EntryItems::make(const TovrinWarpSharedEntry& entry) {
  const std::string_view warpID = manifest_->manifest().warpID;
  return std::make_shared<const TovrinFileProviderItem>(
      TovrinFileProviderItem::Fields{.itemIdentifier = entryIdentifier(warpID, entry.relativePath),
                                     .parentItemIdentifier = parentIdentifier(entry),
                                     .filename = std::string(entry.displayName),
                                     .contentType = contentType(entry),
                                     .documentSize = documentSize(entry),
                                     .creationDate = dateOf(entry.birthTimeNanoseconds),
                                     .contentModificationDate = dateOf(entry.modificationTimeNanoseconds),
                                     .warpID = std::string(warpID),
                                     .entry = shareEntry(manifest_, entry)},
      journal_);
}

const std::string& EntryItems::parentIdentifier(const TovrinWarpSharedEntry& entry) {
  std::optional<std::string_view> folder;
  if (foreign_) {
    const auto parent = entryParentPath(entry.relativePath, foreign_->manifest());
    if (parent && !isManifestRootPath(*parent, foreign_->manifest())) {
      folder = deletingLastPathComponent(entry.relativePath);
    }
  } else {
    folder = manifest_->enclosingFolder(entry);
  }
  if (!folder) return warpIdentifier_;
  if (*folder != lastFolder_) {
    lastFolderIdentifier_ = entryIdentifier(manifest_->manifest().warpID, *folder);
    lastFolder_ = *folder;
  }
  return lastFolderIdentifier_;
}

}  // namespace tovrin
