#pragma once

#include <memory>
#include <stop_token>

#include "foundation/result.h"
#include "host/store/replica_store.h"
#include "platform/directories.h"

namespace tovrin::host {

/// The store of the container, once an earlier mount of it has left it: when umount(8) returns, the process behind the
/// mount still has edits to hand over and copies to bring to disk. Fails with NSPOSIXErrorDomain EBUSY at once, naming
/// the place, when the container is mounted, and when the earlier process does not end in its time. When `stop` is
/// requested: NSCocoaErrorDomain 3072.
Result<std::unique_ptr<ReplicaStore>> openStoreAfterEarlierMount(const StoreFolders& folders, const StoreLimits& limits,
                                                                 const Directories& directories, std::stop_token stop);

}  // namespace tovrin::host
