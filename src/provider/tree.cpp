#include "provider/tree.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <unordered_map>
#include <utility>

#include "platform/text.h"
#include "provider/absolute_folders.h"
#include "provider/entry_items.h"
#include "provider/folder_items.h"
#include "provider/visibility.h"

namespace tovrin {

namespace {

std::optional<Date> latestDate(std::span<const SharedManifest> manifests) {
  std::optional<Date> latest;
  for (const SharedManifest& manifest : manifests)
    latest = std::max(latest, std::optional(warpDate(manifest->manifest())));
  return latest;
}

std::vector<SharedManifest> visibleAmong(std::vector<SharedManifest> manifests, ManifestIndexes& indexes) {
  const ListedWarps listed(indexes);
  std::erase_if(manifests, [&](const SharedManifest& manifest) { return !listed.isManifestVisible(*manifest); });
  return manifests;
}

void sortInFinderOrder(std::vector<SharedItem>& items) {
  std::vector<SharedItem> unordered = std::move(items);
  std::vector<std::string_view> names;
  names.reserve(unordered.size());
  for (const SharedItem& item : unordered) names.push_back(item->filename());
  items.clear();
  for (const std::uint32_t index : finderOrder(names)) items.push_back(std::move(unordered[index]));
}

std::vector<SharedItem> entryItems(const SharedManifest& manifest, std::span<const std::uint32_t> entries,
                                   const std::shared_ptr<CachedItemsJournal>& journal) {
  std::vector<SharedItem> items;
  items.reserve(entries.size());
  EntryItems maker(manifest, journal);
  for (const std::uint32_t entry : entries) items.push_back(maker.make(manifest->manifest().entries[entry]));
  return items;
}

}  // namespace

TovrinFileProviderTree::TovrinFileProviderTree(const Platform& platform, std::shared_ptr<CachedItemsJournal> journal)
    : journal_(std::move(journal)), cache_(platform), indexes_(platform) {}

std::vector<SharedManifest> TovrinFileProviderTree::visibleManifests() {
  return visibleAmong(cachedManifests(), indexes_);
}

std::optional<Date> TovrinFileProviderTree::latestWarpDate() { return latestDate(visibleManifests()); }

std::vector<SharedItem> TovrinFileProviderTree::childrenOfAbsoluteFolder(const std::optional<std::string>& path) {
  const std::vector<SharedManifest> visible = visibleManifests();
  const std::optional<Date> date = latestDate(visible);
  const AbsoluteFolderContents contents = contentsOfAbsoluteFolder(visible, path);

  std::vector<SharedItem> items;
  items.reserve(contents.folders.size() + contents.warps.size());
  for (const std::string_view folder : contents.folders) items.push_back(absoluteFolderItem(folder, date));
  std::ranges::transform(contents.warps, std::back_inserter(items), warpItem);
  // A Warp's file name is its display name, and the sort is stable: Warps of one name stay newest first.
  sortInFinderOrder(items);
  return items;
}

std::vector<SharedItem> TovrinFileProviderTree::childrenOfWarp(std::string_view warpID) {
  const SharedManifest manifest = manifestForWarpID(warpID);
  if (!manifest) return {};
  return entryItems(manifest, manifest->topLevelEntries(), journal_);
}

std::vector<SharedItem> TovrinFileProviderTree::childrenOfEntry(std::string_view warpID,
                                                                std::string_view relativePath) {
  const SharedManifest manifest = manifestForWarpID(warpID);
  if (!manifest) return {};
  const TovrinWarpSharedEntry* entry = manifest->entryAt(relativePath);
  if (entry != nullptr && entry->kind != TovrinWarpSharedEntryKind::directory) return {};
  return entryItems(manifest, manifest->childrenOf(relativePath), journal_);
}

std::vector<SharedItem> TovrinFileProviderTree::wholeDomain() {
  std::vector<SharedManifest> manifests = cachedManifests();
  std::unordered_map<std::string_view, SharedManifest> firstOfWarp;
  for (const SharedManifest& manifest : manifests) firstOfWarp.try_emplace(manifest->manifest().warpID, manifest);

  const std::vector<SharedManifest> visible = visibleAmong(std::move(manifests), indexes_);
  const std::optional<Date> date = latestDate(visible);
  const std::vector<std::string_view> folders = absoluteFoldersAbove(visible);

  std::size_t count = 1 + folders.size() + visible.size();
  for (const SharedManifest& manifest : visible) count += manifest->manifest().entries.size();
  std::vector<SharedItem> items;
  items.reserve(count);

  items.push_back(warpedRootItem(date));
  for (const std::string_view folder : folders) items.push_back(absoluteFolderItem(folder, date));
  std::ranges::transform(visible, std::back_inserter(items), warpItem);
  for (const SharedManifest& manifest : visible) {
    EntryItems maker(manifest, firstOfWarp.at(manifest->manifest().warpID), journal_);
    for (const TovrinWarpSharedEntry& entry : manifest->manifest().entries) items.push_back(maker.make(entry));
  }
  return items;
}

}  // namespace tovrin
