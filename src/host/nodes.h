#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "provider/item.h"

namespace tovrin::host {

class OpenItem;

/// A number by which the kernel knows an item. 1 is the root.
using NodeID = std::uint64_t;
inline constexpr NodeID kRootNode = 1;

/// One item that the kernel knows. A file has one node per version: when its contents change remotely, the name leads
/// to a new node, and who has the old one open keeps the old contents and their cached pages.
struct Node {
  NodeID id = 0;
  std::uint64_t inode = 0;  ///< what `stat` shows; the same for all versions
  NodeID parent = 0;
  std::string name;
  SharedItem item;               ///< as of the last look; the identifier and a file's version never change
  std::weak_ptr<OpenItem> file;  ///< while it is open
};

/// What the kernel knows. Thread-safe: everything is handed out as a copy.
class Nodes {
 public:
  explicit Nodes(SharedItem root);

  /// The node of the item under this name; counts one more lookup, which `forget` takes back.
  Node remember(NodeID parent, std::string_view name, const SharedItem& item);
  /// Nothing for a number that was never given or is forgotten.
  std::optional<Node> find(NodeID id) const;
  /// The newest node of an identifier.
  std::optional<Node> find(std::string_view identifier) const;
  void forget(NodeID id, std::uint64_t lookups);
  /// From here on a lookup of the node's item makes another one.
  void retire(NodeID id);

  /// Runs `change` on the node while nothing else touches it; it must not call back. False when there is none.
  template <class Change>
  bool update(NodeID id, Change&& change) {
    const std::scoped_lock hold(lock_);
    const auto found = byID_.find(id);
    if (found == byID_.end()) return false;
    change(found->second.node);
    return true;
  }

  /// Of all nodes the Warps that they belong to; an empty text for the folders above the Warps.
  std::vector<std::string> warps() const;
  /// The nodes of one of these; a Warp's own folder is one of its nodes.
  std::vector<Node> ofWarp(const std::string& warpID) const;

 private:
  struct Known {
    Node node;
    std::uint64_t lookups = 0;
  };

  mutable std::mutex lock_;
  NodeID last_ = kRootNode;
  std::unordered_map<NodeID, Known> byID_;
  std::unordered_map<std::string, NodeID> newest_;
  std::unordered_map<std::string, std::unordered_set<NodeID>> byWarp_;
};

}  // namespace tovrin::host
