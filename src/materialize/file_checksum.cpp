#include "materialize/file_checksum.h"

#include <cstddef>
#include <memory>
#include <span>
#include <utility>

#include "materialize/errors.h"
#include "platform/file_system.h"
#include "platform/sha256.h"

namespace tovrin {
namespace {

constexpr std::size_t kHashChunkBytes = 1048576;

}  // namespace

Result<std::string> sha256HexOfFile(const std::filesystem::path& file, std::stop_token stop) {
  TOVRIN_TRY(FileHandle handle, FileHandle::forReading(file));
  // Not filled with zeros, which would cost more than a small file's hash.
  const auto memory = std::make_unique_for_overwrite<std::byte[]>(kHashChunkBytes);
  const std::span buffer(memory.get(), kHashChunkBytes);
  SHA256 hash;
  while (!stop.stop_requested()) {
    TOVRIN_TRY(const std::size_t count, handle.read(buffer));
    if (count == 0) return hash.finalizeHex();
    hash.update(buffer.first(count));
  }
  return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
}

Result<void> verifyFile(const std::filesystem::path& file, const TovrinWarpSharedEntry& entry, std::stop_token stop) {
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(file));
  if (attributes.identity.size != entry.size) return failure(checksumError());
  if (!entry.contentChecksumSHA256) return {};
  TOVRIN_TRY(const std::string checksum, sha256HexOfFile(file, std::move(stop)));
  if (checksum != *entry.contentChecksumSHA256) return failure(checksumError());
  return {};
}

}  // namespace tovrin
