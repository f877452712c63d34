#include "host/nodes.h"

#include <algorithm>

#include "host/presentation.h"

namespace tovrin::host {

namespace {

/// Whether a node can go on standing for the item: a folder always, a file as long as its contents are the same.
bool isStillThe(const TovrinFileProviderItem& known, const TovrinFileProviderItem& item) {
  if (known.contentType() != item.contentType()) return false;
  return isFolder(item) || isSameVersion(known, item);
}

std::string warpOf(const TovrinFileProviderItem& item) { return item.warpID().value_or(std::string()); }

}  // namespace

Nodes::Nodes(SharedItem root) {
  const std::uint64_t inode = kRootNode;
  newest_.emplace(root->itemIdentifier(), kRootNode);
  byWarp_[warpOf(*root)].insert(kRootNode);
  byID_.emplace(kRootNode, Known{{kRootNode, inode, kRootNode, {}, std::move(root), {}}, 1});
}

Node Nodes::remember(NodeID parent, std::string_view name, const SharedItem& item) {
  const std::scoped_lock hold(lock_);
  const auto [newest, isNew] = newest_.try_emplace(item->itemIdentifier(), 0);
  std::uint64_t inode = 0;
  if (!isNew) {
    Known& known = byID_.at(newest->second);
    if (isStillThe(*known.node.item, *item)) {
      ++known.lookups;
      known.node.parent = parent;
      if (known.node.name != name) known.node.name = name;
      return known.node;
    }
    inode = known.node.inode;
  }
  const NodeID id = ++last_;
  newest->second = id;
  byWarp_[warpOf(*item)].insert(id);
  if (inode == 0) inode = inodeNumber(item->itemIdentifier());
  return byID_.emplace(id, Known{{id, inode, parent, std::string(name), item, {}}, 1}).first->second.node;
}

std::optional<Node> Nodes::find(NodeID id) const {
  const std::scoped_lock hold(lock_);
  const auto found = byID_.find(id);
  return found == byID_.end() ? std::nullopt : std::optional(found->second.node);
}

std::optional<Node> Nodes::find(std::string_view identifier) const {
  const std::scoped_lock hold(lock_);
  const auto newest = newest_.find(std::string(identifier));
  return newest == newest_.end() ? std::nullopt : std::optional(byID_.at(newest->second).node);
}

void Nodes::forget(NodeID id, std::uint64_t lookups) {
  const std::scoped_lock hold(lock_);
  const auto found = byID_.find(id);
  if (found == byID_.end() || id == kRootNode) return;
  found->second.lookups -= std::min(lookups, found->second.lookups);
  if (found->second.lookups > 0) return;
  const auto newest = newest_.find(found->second.node.item->itemIdentifier());
  if (newest != newest_.end() && newest->second == id) newest_.erase(newest);
  const auto group = byWarp_.find(warpOf(*found->second.node.item));
  group->second.erase(id);
  if (group->second.empty()) byWarp_.erase(group);
  byID_.erase(found);
}

void Nodes::retire(NodeID id) {
  const std::scoped_lock hold(lock_);
  const auto found = byID_.find(id);
  if (found == byID_.end()) return;
  const auto newest = newest_.find(found->second.node.item->itemIdentifier());
  if (newest != newest_.end() && newest->second == id) newest_.erase(newest);
}

std::vector<std::string> Nodes::warps() const {
  const std::scoped_lock hold(lock_);
  std::vector<std::string> warps;
  warps.reserve(byWarp_.size());
  for (const auto& [warpID, nodes] : byWarp_) warps.push_back(warpID);
  return warps;
}

std::vector<Node> Nodes::ofWarp(const std::string& warpID) const {
  const std::scoped_lock hold(lock_);
  std::vector<Node> nodes;
  const auto group = byWarp_.find(warpID);
  if (group == byWarp_.end()) return nodes;
  nodes.reserve(group->second.size());
  for (const NodeID id : group->second) nodes.push_back(byID_.at(id).node);
  return nodes;
}

}  // namespace tovrin::host
