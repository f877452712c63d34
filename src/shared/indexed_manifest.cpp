#include "shared/indexed_manifest.h"

#include <algorithm>
#include <utility>

#include "foundation/path.h"
#include "platform/text.h"
#include "shared/manifest_rules.h"

namespace tovrin {

namespace {

constexpr std::uint32_t kNoFolder = PathTable::kAbsent;

/// How many components a canonical path has. Every path of a decoded manifest is its Warp's folder or lies below it, by
/// canonical equivalence, and "/" takes part in no composition: the depth alone tells the folder itself and what lies
/// directly in it, in whatever normal form a path is written.
std::size_t depth(std::string_view canonicalPath) {
  if (canonicalPath == "/") return 0;
  return static_cast<std::size_t>(std::ranges::count(canonicalPath, '/'));
}

bool isFile(TovrinWarpSharedEntryKind kind) { return kind == TovrinWarpSharedEntryKind::file; }

void sortInFinderOrder(std::span<std::uint32_t> children, const std::vector<TovrinWarpSharedEntry>& entries) {
  const std::vector<std::uint32_t> unordered(children.begin(), children.end());
  std::vector<std::string_view> names;
  names.reserve(children.size());
  for (const std::uint32_t child : children) names.push_back(entries[child].displayName);
  std::ranges::transform(finderOrder(names), children.begin(), [&](std::uint32_t index) { return unordered[index]; });
}

}  // namespace

IndexedManifest::IndexedManifest(TovrinWarpSharedManifest manifest)
    : manifest_(std::move(manifest)),
      canonicalWarpID_(canonicalForm(manifest_.warpID)),
      rootDepth_(depth(manifest_.originalFolderPath)),
      hasFile_(std::ranges::any_of(manifest_.entries, isFile, &TovrinWarpSharedEntry::kind)),
      hasOnlyAbsolutePaths_(tovrin::hasOnlyAbsolutePaths(manifest_)) {
  indexPaths();
  groupByFolder();
  uniteTopLevel();
  ordered_ = std::make_unique<std::once_flag[]>(folders_.size());
}

const TovrinWarpSharedEntry* IndexedManifest::hardLinkPrimary(const TovrinWarpSharedEntry& entry) const {
  if (!entry.rare->hardLinkPrimaryPath) return nullptr;
  const TovrinWarpSharedEntry* primary = entryAt(*entry.rare->hardLinkPrimaryPath);
  if (primary == nullptr) {  // spelled in another normal form, which is rare enough for a search
    const auto found = std::ranges::find_if(manifest_.entries, [&](const TovrinWarpSharedEntry& other) {
      return canonicallyEqual(other.relativePath, *entry.rare->hardLinkPrimaryPath);
    });
    if (found != manifest_.entries.end()) primary = &*found;
  }
  return primary != nullptr && isFile(primary->kind) ? primary : nullptr;
}

void IndexedManifest::indexPaths() {
  const std::vector<TovrinWarpSharedEntry>& entries = manifest_.entries;
  entryTable_.reserve(entries.size());
  const auto pathAt = [&](std::uint32_t entry) { return entries[entry].relativePath; };
  for (std::uint32_t entry = 0; entry < entries.size(); ++entry) {
    entryTable_.findOrAdd(entries[entry].relativePath, entry, pathAt);
  }
}

void IndexedManifest::groupByFolder() {
  const std::vector<TovrinWarpSharedEntry>& entries = manifest_.entries;
  const auto pathAt = [&](std::uint32_t folder) { return folders_[folder].path; };

  std::vector<std::uint32_t> folderOfEntry(entries.size(), kNoFolder);
  std::uint32_t current = kNoFolder;
  for (std::size_t entry = 0; entry < entries.size(); ++entry) {
    const std::string_view path = entries[entry].relativePath;
    if (depth(path) == rootDepth_) continue;
    const std::string_view parent = deletingLastPathComponent(path);
    // The entries of one folder usually stand together.
    if (current == kNoFolder || folders_[current].path != parent) {
      const auto added = static_cast<std::uint32_t>(folders_.size());
      current = folderTable_.findOrAdd(parent, added, pathAt);
      if (current == added) folders_.push_back({.path = parent, .first = 0, .count = 0});
    }
    folderOfEntry[entry] = current;
    ++folders_[current].count;
  }
  folders_.shrink_to_fit();

  // Each group's end first; filling the groups backwards turns it into the beginning and keeps the manifest's order.
  std::uint32_t end = 0;
  for (Folder& folder : folders_) folder.first = end += folder.count;
  children_.resize(end);
  for (std::size_t entry = entries.size(); entry-- > 0;) {
    if (folderOfEntry[entry] == kNoFolder) continue;
    children_[--folders_[folderOfEntry[entry]].first] = static_cast<std::uint32_t>(entry);
  }
}

void IndexedManifest::uniteTopLevel() {
  std::vector<std::uint32_t> spellings;
  for (std::uint32_t folder = 0; folder < folders_.size(); ++folder) {
    if (depth(folders_[folder].path) == rootDepth_) spellings.push_back(folder);
  }
  if (spellings.size() == 1) {
    topLevel_ = spellings.front();
    return;
  }
  // No entries at all, or entries that write the Warp's folder in more than one normal form.
  Folder united{.path = {}, .first = static_cast<std::uint32_t>(children_.size())};
  for (const std::uint32_t spelling : spellings) {
    for (std::uint32_t child = 0; child < folders_[spelling].count; ++child) {
      children_.push_back(children_[folders_[spelling].first + child]);
    }
  }
  std::ranges::sort(children_.begin() + united.first, children_.end());
  united.count = static_cast<std::uint32_t>(children_.size()) - united.first;
  topLevel_ = static_cast<std::uint32_t>(folders_.size());
  folders_.push_back(united);
}

const TovrinWarpSharedEntry* IndexedManifest::entryAt(std::string_view relativePath) const {
  const std::vector<TovrinWarpSharedEntry>& entries = manifest_.entries;
  const std::uint32_t entry =
      entryTable_.find(relativePath, [&](std::uint32_t position) { return entries[position].relativePath; });
  return entry == PathTable::kAbsent ? nullptr : &entries[entry];
}

std::span<const std::uint32_t> IndexedManifest::topLevelEntries() const { return inFinderOrder(topLevel_); }

std::span<const std::uint32_t> IndexedManifest::childrenOf(std::string_view folderPath) const {
  const std::uint32_t folder =
      folderTable_.find(folderPath, [&](std::uint32_t position) { return folders_[position].path; });
  if (folder == kNoFolder) return {};
  return inFinderOrder(folder);
}

std::optional<std::string_view> IndexedManifest::enclosingFolder(const TovrinWarpSharedEntry& entry) const {
  if (depth(entry.relativePath) <= rootDepth_ + 1) return std::nullopt;
  return deletingLastPathComponent(entry.relativePath);
}

std::span<const std::uint32_t> IndexedManifest::inFinderOrder(std::uint32_t folder) const {
  const std::span<std::uint32_t> group = std::span(children_).subspan(folders_[folder].first, folders_[folder].count);
  std::call_once(ordered_[folder], sortInFinderOrder, group, std::cref(manifest_.entries));
  return group;
}

}  // namespace tovrin
