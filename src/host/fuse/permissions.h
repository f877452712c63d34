#pragma once

#include "host/fuse/library.h"

namespace tovrin::host::fuse {

/// Whether the caller may use the node in the ways of access(2), R_OK, W_OK and X_OK: 0 or an errno. The mount is its
/// owner's and root's alone when this is asked, so the owner's bits count, and root's override them. No folder can be
/// written to, whoever asks.
int permissionError(fuse_req_t request, fuse_ino_t node, int mask);

/// The same for the flags of open(2).
int openPermissionError(fuse_req_t request, fuse_ino_t node, int flags);

}  // namespace tovrin::host::fuse
