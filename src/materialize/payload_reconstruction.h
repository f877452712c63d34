#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

#include "foundation/result.h"
#include "materialize/renterd_client.h"
#include "platform/file_system.h"
#include "shared/manifest.h"

/// Turns an entry's payload into the file it was: parts joined in order, LZFSE decoded, holes restored, size and checksum
/// verified. Memory is bounded by the chunk sizes, whatever the file's size; temporary files go on every path.
namespace tovrin {

inline constexpr std::int64_t kPartChunkBytes = 1048576;
inline constexpr std::size_t kDecodeChunkBytes = 262144;

/// `payload` is the entry whose payload is downloaded: `entry` itself, or the primary of a hard link without payload.
struct ReconstructionRequest {
  const TovrinWarpSharedEntry& entry;
  const TovrinWarpSharedEntry& payload;
  std::filesystem::path destination;
  std::filesystem::path temporaryDirectory;  ///< for the decoded file
};

/// On success the destination holds exactly the entry's bytes; on failure nothing is left of what was made. `progress` is
/// called after each part with stored bytes so far / max(storedSize, 1).
Result<void> reconstruct(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                         const ReconstructionRequest& request, const std::function<void(double fraction)>& progress,
                         std::stop_token stop);

/// Decodes the stored file and applies the sparse layout; the stored file is moved or used up.
Result<void> materializeStored(const std::filesystem::path& stored, const ReconstructionRequest& request, std::stop_token stop);

/// NSCocoaErrorDomain 4864 for corrupt data, 4866 for input that ends before the stream does.
Result<void> decodeLZFSE(FileHandle& input, FileHandle& output, std::stop_token stop);

/// NSCocoaErrorDomain 259 when `from` ends first.
Result<void> copyExactly(std::int64_t count, FileHandle& from, FileHandle& to);

/// SHA-256 of a file, 64 lower-case hexadecimal digits.
Result<std::string> sha256HexOfFile(const std::filesystem::path& file);

Result<void> makeSymlink(const std::filesystem::path& destination, std::optional<std::string_view> target);

}  // namespace tovrin
