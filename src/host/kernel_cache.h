#pragma once

#include <string>

#include "host/nodes.h"

namespace tovrin::host {

/// What the kernel remembers of the mount for as long as it is not told otherwise. Thread-safe; but for
/// `attributesChanged`, which takes no lock of the kernel's, never to be called while a request for the same node or
/// its parent is being answered by the calling thread.
class KernelCache {
 public:
  virtual ~KernelCache() = default;

  /// The name leads to something else, or to nothing: it is looked up again.
  virtual void nameChanged(NodeID parent, const std::string& name) = 0;
  /// The same, and whoever watches the folder is told of a deletion.
  virtual void nameVanished(NodeID parent, NodeID child, const std::string& name) = 0;
  virtual void attributesChanged(NodeID node) = 0;
  /// Of a folder its listing, of a file its pages; attributes too.
  virtual void contentsChanged(NodeID node) = 0;
};

}  // namespace tovrin::host
