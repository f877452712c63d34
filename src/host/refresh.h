#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "host/directory.h"
#include "host/domain.h"
#include "host/kept_edits.h"
#include "host/kernel_cache.h"
#include "host/nodes.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

/// Brings what the kernel knows in line with the domain after a change of the container. What it costs follows from the
/// Warps that changed, not from those that exist. One thread at a time.
class Refresh {
 public:
  /// All outlive this.
  Refresh(Domain& domain, DirectoryCache& directories, Nodes& nodes, ReplicaStore& store, KeptEdits& edits,
          KernelCache& kernel)
      : domain_(domain), directories_(directories), nodes_(nodes), store_(store), edits_(edits), kernel_(kernel) {}

  /// The manifests or the indexes may have changed.
  void items();
  /// The journal may have changed: lets go of edits that the main application has stored.
  void storedEdits();

 private:
  class Folders;

  bool isUnchanged(const std::vector<Node>& warp);
  void bringInLine(const Node& node, Folders& folders);

  Domain& domain_;
  DirectoryCache& directories_;
  Nodes& nodes_;
  ReplicaStore& store_;
  KeptEdits& edits_;
  KernelCache& kernel_;
};

}  // namespace tovrin::host
