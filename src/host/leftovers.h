#pragma once

#include "foundation/date.h"
#include "platform/directories.h"

namespace tovrin::host {

/// Removes delivered files, partial downloads, decoded payloads and unfinished replacements of shared files that
/// processes of this user left behind when they were killed: files with the names that are made for that, unchanged for
/// a day before `now`, and open in no process. A fetch never takes that long, who keeps a delivered file moves it away,
/// and a replacement is open while anybody means to use it. Follows no links.
void sweepLeftovers(const Directories& directories, Date now);

}  // namespace tovrin::host
