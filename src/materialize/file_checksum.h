#pragma once

#include <filesystem>
#include <stop_token>
#include <string>

#include "foundation/result.h"
#include "materialize/growing_file_hash.h"
#include "shared/manifest.h"

namespace tovrin {

/// SHA-256 of a file, 64 lower-case hexadecimal digits. Fails with NSCocoaErrorDomain 3072 when stopped.
Result<std::string> sha256HexOfFile(const std::filesystem::path& file, const std::stop_token& stop = {});

/// The checksum error unless the file has exactly the entry's size and, if the entry carries one, its checksum. Digits
/// are compared as text: upper-case ones never match. What `hash` has read of the file already is not read again.
Result<void> verifyFile(const std::filesystem::path& file, const TovrinWarpSharedEntry& entry, GrowingFileHash& hash,
                        const std::stop_token& stop);

}  // namespace tovrin
