#pragma once

#include <string_view>

#include "materialize/materialization_state.h"
#include "platform/platform.h"

namespace tovrin::cli {

/// The record of the most recent operation. NSCocoaErrorDomain 260 when there was none yet.
Result<TovrinWarpSharedMaterializationState> loadMaterializationState(const Platform& platform);

/// The shared file, other than a manifest, whose reading fails with this error; empty when there is none. Reads them
/// again.
std::string_view sharedFileBehind(const NSError& error, const Platform& platform);

/// An empty domain is what a container looks like that was named wrongly. The reader is told why; not a tool that
/// asks for JSON, which expects an error, and only that, on standard error.
void hintAtMissingContainer(const Directories& directories);

/// The error is that a file, not its contents, is missing.
bool isMissingFile(const NSError& error);

}  // namespace tovrin::cli
