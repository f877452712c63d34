#pragma once

#include <filesystem>

/// Ways for a finished file to take the place of the file that has its name. In one step: whoever looks sees the one or
/// the other. Each returns 0 or an errno; after an error both files are where they were.
namespace tovrin {

/// Whoever forgets to sync is protected by some file systems: ext4 begins to write the new contents to disk before the
/// rename, so that a crash of the machine leaves the old or the new file. That costs more than all the rest.
int replaceByRename(const std::filesystem::path& finished, const std::filesystem::path& path);

/// Without that protection: after a crash the file may be empty. Where names cannot be swapped it is a rename.
int replaceBySwap(const std::filesystem::path& finished, const std::filesystem::path& path);

}  // namespace tovrin
