#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <stop_token>

#include "foundation/result.h"
#include "materialize/written_bytes.h"
#include "platform/file_system.h"
#include "shared/manifest.h"

namespace tovrin {

/// NSCocoaErrorDomain 259 when `from` ends first. A count below 1 does nothing.
Result<void> copyExactly(std::int64_t count, FileHandle& from, FileHandle& to, std::stop_token stop);

/// Makes `destination` a file of `size` bytes that reads as zeros but for the extents, which are copied from `source`
/// in their order. The gaps are never written, so the file system may keep them as holes.
Result<void> writeSparseFile(const std::filesystem::path& source, const std::filesystem::path& destination,
                             std::int64_t size, std::span<const TovrinWarpSharedSparseExtent> extents,
                             const WrittenBytes& written, std::stop_token stop);

/// Where the last extent ends in the packed bytes; no byte behind it is of use.
std::int64_t storedEnd(std::span<const TovrinWarpSharedSparseExtent> extents);

}  // namespace tovrin
