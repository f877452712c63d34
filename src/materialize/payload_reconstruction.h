#pragma once

#include <filesystem>
#include <stop_token>

#include "foundation/result.h"
#include "materialize/growing_file_hash.h"
#include "materialize/payload_assembly.h"
#include "materialize/renterd_client.h"
#include "shared/manifest.h"

/// Turns an entry's payload into the file it was: parts joined in order, LZFSE decoded, holes restored, size and
/// checksum verified. Memory is bounded by the chunk sizes, whatever the file's size; temporary files go on every path.
namespace tovrin {

/// `payload` is the entry whose payload is downloaded: `entry` itself, or the primary of a hard link without payload.
struct ReconstructionRequest {
  const TovrinWarpSharedEntry& entry;
  const TovrinWarpSharedEntry& payload;
  std::filesystem::path destination;
  std::filesystem::path temporaryDirectory;  ///< for the decoded file
};

/// On success the destination holds exactly the entry's bytes; on failure nothing is left of what was made.
Result<void> reconstruct(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                         const ReconstructionRequest& request, const AssemblyProgress& progress, std::stop_token stop);

/// Decodes the stored file and applies the sparse layout. The stored file is moved to the destination where it already
/// is the file; otherwise it stays for the caller to remove, and so does the destination after a failure. `hash` is
/// told of the file as it is made.
Result<void> materializeStored(const std::filesystem::path& stored, const ReconstructionRequest& request,
                               GrowingFileHash& hash, std::stop_token stop);

}  // namespace tovrin
