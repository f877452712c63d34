#pragma once

#include "host/fuse/library.h"
#include "host/mounted_domain.h"

namespace tovrin::host::fuse {

/// How long the kernel may go by what it was told, in seconds. It is told of changes, so this only bounds what it keeps
/// where nobody can tell.
inline constexpr double kRemembered = 3600;

inline fuse_entry_param entryOf(const Shown& shown) {
  fuse_entry_param entry{};
  entry.ino = shown.node.id;
  entry.attr = shown.attributes;
  entry.attr_timeout = kRemembered;
  entry.entry_timeout = kRemembered;
  return entry;
}

}  // namespace tovrin::host::fuse
