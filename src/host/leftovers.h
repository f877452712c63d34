#pragma once

#include "foundation/date.h"
#include "platform/directories.h"

namespace tovrin::host {

/// Removes delivered files, unfinished ones and decoded payloads that processes of this user left behind when they
/// were killed: files with the names that fetches make, unchanged for a day before `now`, and open in no process. A
/// fetch never takes that long, and who keeps a delivered file moves it away. Follows no links.
void sweepDeliveries(const Directories& directories, Date now);

}  // namespace tovrin::host
