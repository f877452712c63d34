#include "materialize/sparse_layout.h"

#include <algorithm>
#include <utility>

namespace tovrin {
namespace {

constexpr std::int64_t kExtentChunkBytes = 262144;

/// Whether each extent lies behind those before it, so that what was written is never written again.
bool goFrontToBack(std::span<const TovrinWarpSharedSparseExtent> extents) {
  std::int64_t end = 0;
  for (const TovrinWarpSharedSparseExtent& extent : extents) {
    if (extent.length < 1) continue;
    if (extent.logicalOffset < end) return false;
    end = extent.logicalOffset + extent.length;
  }
  return true;
}

}  // namespace

Result<void> copyExactly(std::int64_t count, FileHandle& from, FileHandle& to, std::stop_token stop) {
  while (count > 0) {
    if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    TOVRIN_TRY(const std::int64_t copied, copyBytes(from, to, std::min(count, kExtentChunkBytes)));
    if (copied == 0) return failure(NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
    count -= copied;
  }
  return {};
}

Result<void> writeSparseFile(const std::filesystem::path& source, const std::filesystem::path& destination,
                             std::int64_t size, std::span<const TovrinWarpSharedSparseExtent> extents,
                             const WrittenBytes& written, std::stop_token stop) {
  auto created = FileHandle::create(destination);
  if (!created) return failure(NSError::cocoa(CocoaErrorCode::fileWriteUnknown));
  FileHandle to = *std::move(created);
  TOVRIN_TRY(FileHandle from, FileHandle::forReading(source));
  TOVRIN_CHECK(to.truncate(size));
  const bool grows = goFrontToBack(extents);
  for (const TovrinWarpSharedSparseExtent& extent : extents) {
    if (extent.length < 1) continue;
    TOVRIN_CHECK(from.seek(extent.storedOffset));
    TOVRIN_CHECK(to.seek(extent.logicalOffset));
    for (std::int64_t copied = 0; copied < extent.length;) {
      const std::int64_t chunk = std::min(extent.length - copied, kExtentChunkBytes);
      TOVRIN_CHECK(copyExactly(chunk, from, to, stop));
      copied += chunk;
      if (grows) written(extent.logicalOffset + copied);
    }
  }
  return to.close();
}

std::int64_t storedEnd(std::span<const TovrinWarpSharedSparseExtent> extents) {
  std::int64_t end = 0;
  for (const TovrinWarpSharedSparseExtent& extent : extents) end = std::max(end, extent.storedOffset + extent.length);
  return end;
}

}  // namespace tovrin
