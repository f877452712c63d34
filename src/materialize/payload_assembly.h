#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <vector>

#include "foundation/result.h"
#include "materialize/renterd_client.h"
#include "materialize/written_bytes.h"
#include "shared/manifest.h"

namespace tovrin {

/// The parts of the payload in the order in which they are joined: by offset, manifest order among equals. A payload
/// stored as one object is one part; an entry with neither has none.
std::vector<TovrinWarpSharedPayloadPart> effectiveParts(const TovrinWarpSharedEntry& payload);

/// Stored bytes so far / max(storedSize, 1), after each part.
using AssemblyProgress = std::function<void(double fraction)>;

/// Downloads the parts one after another into the file `stored`, which does not exist yet, each behind the one before
/// it as it comes. Bytes that do not add up to `storedSize` are the checksum error. On failure the file may be left
/// half made, for the caller to remove.
Result<void> assembleStoredFile(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                const TovrinWarpSharedEntry& payload, const std::filesystem::path& stored,
                                const AssemblyProgress& progress, const WrittenBytes& written, std::stop_token stop);

}  // namespace tovrin
