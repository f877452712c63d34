#pragma once

#include <filesystem>

namespace tovrin {

/// Mounts a FUSE file system that nobody serves: it answers nothing, and is dead once the returned descriptor is
/// closed. Ends a process that has no /dev/fuse with `kCannotTest`. For children that keep their mounts private.
int mountUnserved(const std::filesystem::path& folder, const char* type);
void mountDead(const std::filesystem::path& folder, const char* type);

}  // namespace tovrin
