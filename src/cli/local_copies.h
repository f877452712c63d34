#pragma once

#include <vector>

#include "cli/session.h"
#include "host/control/mount_control.h"

namespace tovrin::cli {

/// Drops local copies: by the mount of this container that runs, else in its store, which is then nobody's. Never one
/// that carries an edit or is open. Of a folder, everything below it.
Result<std::vector<host::EvictOutcome>> evict(Session& session, const std::vector<NSFileProviderItemIdentifier>& items);
Result<std::vector<host::EvictOutcome>> evictAll(Session& session);

}  // namespace tovrin::cli
