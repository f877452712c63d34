#include "materialize/file_checksum.h"

#include "materialize/errors.h"
#include "platform/file_system.h"

namespace tovrin {

Result<std::string> sha256HexOfFile(const std::filesystem::path& file, const std::stop_token& stop) {
  return GrowingFileHash().finish(file, stop);
}

Result<void> verifyFile(const std::filesystem::path& file, const TovrinWarpSharedEntry& entry, GrowingFileHash& hash,
                        const std::stop_token& stop) {
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(file));
  if (attributes.identity.size != entry.size) return failure(checksumError());
  if (!entry.contentChecksumSHA256) return {};
  TOVRIN_TRY(const std::string checksum, hash.finish(file, stop));
  if (checksum != *entry.contentChecksumSHA256) return failure(checksumError());
  return {};
}

}  // namespace tovrin
