#pragma once

#include "host/store/replica_store.h"
#include "platform/directories.h"

namespace tovrin::host {

/// Where the store of this container is: "tovrin/replica" in the user's caches and "tovrin" in the user's local state,
/// each with a folder per container. Makes nothing. Fails when there is no container or no such directory.
Result<StoreFolders> storeFolders(const Directories& directories);

/// Says in the state folder, for whoever finds it there, whose it is and what is in it. Nothing depends on it.
void explainStateFolder(const StoreFolders& folders);

}  // namespace tovrin::host
