#include "host/refresh.h"

#include <algorithm>
#include <string_view>

#include "host/edit_fate.h"
#include "host/presentation.h"

namespace tovrin::host {

namespace {

bool areOfOneManifest(const SharedEntry& a, const SharedEntry& b) { return !a.owner_before(b) && !b.owner_before(a); }

}  // namespace

/// The folders of one refresh, each read once, by the identifiers of their members.
class Refresh::Folders {
 public:
  explicit Folders(DirectoryCache& directories) : directories_(directories) {}

  const Directory::Member* member(const TovrinFileProviderItem& item) {
    const auto [known, isNew] = folders_.try_emplace(item.parentItemIdentifier());
    Folder& folder = known->second;
    if (isNew) {
      folder.directory = directories_.directory(item.parentItemIdentifier());
      for (const Directory::Member& member : folder.directory->members()) {
        folder.members.emplace(member.item->itemIdentifier(), &member);
      }
    }
    const auto found = folder.members.find(item.itemIdentifier());
    return found == folder.members.end() ? nullptr : found->second;
  }

 private:
  struct Folder {
    std::shared_ptr<const Directory> directory;
    std::unordered_map<std::string_view, const Directory::Member*> members;
  };
  DirectoryCache& directories_;
  std::unordered_map<NSFileProviderItemIdentifier, Folder> folders_;
};

void Refresh::items() {
  directories_.clear();
  Folders folders(directories_);
  for (const std::string& warpID : nodes_.warps()) {
    const std::vector<Node> nodes = nodes_.ofWarp(warpID);
    if (isUnchanged(nodes)) continue;
    for (const Node& node : nodes) bringInLine(node, folders);
  }
}

/// An entry that still comes from the manifest that the node's entry came from: nothing in that Warp is different.
bool Refresh::isUnchanged(const std::vector<Node>& warp) {
  const auto entry = std::ranges::find_if(warp, [](const Node& node) { return node.item->entry() != nullptr; });
  if (entry == warp.end()) return false;
  const SharedItem fresh = domain_.item(entry->item->itemIdentifier());
  if (!fresh || !areOfOneManifest(fresh->entry(), entry->item->entry())) return false;
  // A Warp that is hidden can still be looked up, but its folder no longer lists it.
  const auto folder = std::ranges::find_if(warp, [](const Node& node) { return node.item->entry() == nullptr; });
  if (folder == warp.end()) return true;
  const auto siblings = directories_.directory(folder->item->parentItemIdentifier());
  return std::ranges::any_of(siblings->members(), [&](const Directory::Member& member) {
    return member.item->itemIdentifier() == folder->item->itemIdentifier();
  });
}

void Refresh::bringInLine(const Node& node, Folders& folders) {
  if (node.id == kRootNode) {
    const SharedItem root = domain_.item(node.item->itemIdentifier());
    nodes_.update(node.id, [&](Node& known) { known.item = root; });
    return kernel_.contentsChanged(node.id);
  }
  const Directory::Member* member = folders.member(*node.item);
  if (member == nullptr) {
    // The kernel finds nothing more in a folder that vanished, for as long as somebody is in it: one that comes back
    // must be another one.
    if (isFolder(*node.item)) nodes_.retire(node.id);
    return kernel_.nameVanished(node.parent, node.id, node.name);
  }
  const bool isFolderStill = isFolder(*node.item) && isFolder(*member->item);
  if (!isFolderStill &&
      (isFolder(*node.item) != isFolder(*member->item) || !isSameVersion(*node.item, *member->item))) {
    return kernel_.nameChanged(node.parent, node.name);
  }
  if (member->name != node.name) kernel_.nameChanged(node.parent, node.name);
  nodes_.update(node.id, [&](Node& known) { known.item = member->item; });
  if (isFolderStill) {
    kernel_.contentsChanged(node.id);
  } else {
    kernel_.attributesChanged(node.id);
  }
}

void Refresh::storedEdits() {
  for (const Edit& edit : store_.edits()) {
    if (edit.state != EditState::saved) continue;
    const SharedItem item = domain_.item(edit.identifier);
    const EditFate fate = fateOf(domain_, item, edit.baseVersion, edit.file);
    if (fate == EditFate::waits) continue;
    // The copy of the version that was edited goes first: after the edit, a newer one may come in its place.
    if (fate == EditFate::isStored) store_.dropCopy(edit.identifier);
    edits_.forget(edit.identifier);
    if (const auto node = nodes_.find(std::string_view(edit.identifier))) {
      kernel_.nameChanged(node->parent, node->name);
      kernel_.contentsChanged(node->id);
    }
  }
}

}  // namespace tovrin::host
