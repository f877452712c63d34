#pragma once

#include <cstdint>
#include <string_view>

#include "shared/manifest.h"

/// The rules that a decoded manifest obeys. Paths are compared by canonical equivalence.
namespace tovrin {

bool isSupportedVersion(std::int64_t version);
/// Exactly 64 hexadecimal digits of either case.
bool isSHA256Hex(std::string_view text);

bool isSafePart(const TovrinWarpSharedPayloadPart& part);
/// Every extent lies inside the logical and inside the stored file.
bool extentsLieInside(const TovrinWarpSharedEntry& entry);

/// Identity not empty, manifest key safe, original path canonical.
bool hasSafeIdentity(const TovrinWarpSharedManifest& manifest);
/// Dates finite, entry paths and samples distinct, all of them inside the Warp.
bool hasConsistentDatesAndPaths(const TovrinWarpSharedManifest& manifest);
/// Every hard-link primary is another entry of the manifest.
bool hasInnerHardLinks(const TovrinWarpSharedManifest& manifest);

/// Whether every path, white space around it cut off, starts with "/".
bool hasOnlyAbsolutePaths(const TovrinWarpSharedManifest& manifest);

}  // namespace tovrin
