#pragma once

#include <sys/stat.h>

#include <filesystem>

#include "platform/posix/file_descriptor.h"

/// The parts of `copyItem` that are the same on every system.
namespace tovrin {

struct CopySource {
  FileDescriptor file;
  mode_t permissions;  ///< those of the original: the copy is no more readable
};
/// Opens a regular file without waiting for anything.
Result<CopySource> openCopySource(const std::filesystem::path& from);

/// A fresh file; fails when something has the name.
Result<FileDescriptor> createCopy(const std::filesystem::path& to, mode_t permissions);

/// Copies the ranges that hold data, so that holes stay holes. Both files are at their start.
CopyOutcome copyContents(int from, int to);

/// Ends a copy whose contents were written with this outcome: what failed is removed.
Result<void> finishCopy(FileDescriptor copy, const CopyOutcome& outcome, const std::filesystem::path& from,
                        const std::filesystem::path& to, Durability durability);

}  // namespace tovrin
