#include "materialize/payload_assembly.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "materialize/errors.h"
#include "materialize/temporary_file.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

/// The stored file while it grows.
class StoredFile {
 public:
  explicit StoredFile(std::filesystem::path path) : path_(std::move(path)) {}

  /// The first object becomes the file itself: no copy for a payload that is one object.
  Result<std::int64_t> begin(TemporaryFile& object) {
    TOVRIN_CHECK(moveItem(object.path(), path_));
    object.keep();
    exists_ = true;
    TOVRIN_TRY(const FileAttributes attributes, fileAttributes(path_));
    return attributes.identity.size;
  }

  /// Appends up to `count` bytes of the object from `offset` on; fewer when the object ends first.
  Result<std::int64_t> append(const std::filesystem::path& object, std::int64_t offset, std::int64_t count,
                              const std::stop_token& stop) {
    TOVRIN_CHECK(open());
    TOVRIN_TRY(FileHandle from, FileHandle::forReading(object));
    TOVRIN_CHECK(from.seek(offset));
    std::int64_t copied = 0;
    while (copied < count) {
      if (stop.stop_requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
      const std::int64_t wanted = std::min(count - copied, kPartChunkBytes);
      TOVRIN_TRY(const std::int64_t chunk, copyBytes(from, *handle_, wanted));
      copied += chunk;
      if (chunk < wanted) break;
    }
    return copied;
  }

  /// Reports what a close would swallow; makes the file if nothing was ever appended.
  Result<void> finish() {
    if (!exists_) TOVRIN_CHECK(open());
    if (!handle_) return {};
    return handle_->close();
  }

  bool exists() const { return exists_; }
  std::filesystem::path directory() const { return path_.parent_path(); }

 private:
  /// At its end, ready to be written.
  Result<void> open() {
    if (handle_) return {};
    TOVRIN_TRY(FileHandle handle, exists_ ? FileHandle::forWriting(path_) : FileHandle::create(path_));
    TOVRIN_TRY(const FileAttributes attributes, fileAttributes(path_));
    TOVRIN_CHECK(handle.seek(attributes.identity.size));
    handle_ = std::move(handle);
    exists_ = true;
    return {};
  }

  std::filesystem::path path_;
  bool exists_ = false;
  std::optional<FileHandle> handle_;
};

constexpr std::int64_t kWholeObject = std::numeric_limits<std::int64_t>::max();

/// The objects of this strategy hold other files too; a part is the slice that belongs to this one.
bool isBundle(const TovrinWarpSharedEntry& payload) { return payload.uploadStrategy == "bundle-direct-unpacked"; }

/// `missingBytes`: how many the stored file still lacks. One more than that shows that the object is too long; the rest
/// of it would only fill the disk.
Result<std::int64_t> appendWhole(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                 const TovrinWarpSharedPayloadPart& part, std::int64_t missingBytes, StoredFile& file,
                                 const std::stop_token& stop) {
  const std::int64_t byteLimit =
      missingBytes < kWholeObject ? std::max<std::int64_t>(missingBytes, 0) + 1 : kWholeObject;
  TOVRIN_TRY(std::filesystem::path downloaded,
             client.downloadObject(snapshot, {part.key, part.namespace_, file.directory(), byteLimit}, stop));
  TemporaryFile object(std::move(downloaded));
  if (!file.exists()) return file.begin(object);
  return file.append(object.path(), 0, kWholeObject, stop);
}

Result<std::int64_t> appendSlice(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                 const TovrinWarpSharedPayloadPart& part, StoredFile& file,
                                 const std::stop_token& stop) {
  const std::int64_t byteLimit = part.offset + part.size;
  TOVRIN_TRY(std::filesystem::path downloaded,
             client.downloadObject(snapshot, {part.key, part.namespace_, file.directory(), byteLimit}, stop));
  const TemporaryFile object(std::move(downloaded));
  return file.append(object.path(), part.offset, part.size, stop);
}

}  // namespace

std::vector<TovrinWarpSharedPayloadPart> effectiveParts(const TovrinWarpSharedEntry& payload) {
  if (payload.payloadParts.empty()) {
    if (!payload.payloadKey) return {};
    return {{.key = *payload.payloadKey, .offset = 0, .size = payload.storedSize, .namespace_ = std::nullopt}};
  }
  std::vector<TovrinWarpSharedPayloadPart> parts(payload.payloadParts.begin(), payload.payloadParts.end());
  std::ranges::stable_sort(parts, {}, &TovrinWarpSharedPayloadPart::offset);
  return parts;
}

Result<void> assembleStoredFile(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                                const TovrinWarpSharedEntry& payload, const std::filesystem::path& stored,
                                const AssemblyProgress& progress, std::stop_token stop) {
  const double denominator = static_cast<double>(std::max<std::int64_t>(payload.storedSize, 1));
  StoredFile file(stored);
  std::int64_t appended = 0;
  for (const TovrinWarpSharedPayloadPart& part : effectiveParts(payload)) {
    TOVRIN_TRY(const std::int64_t copied,
               isBundle(payload) ? appendSlice(client, snapshot, part, file, stop)
                                 : appendWhole(client, snapshot, part, payload.storedSize - appended, file, stop));
    appended += copied;
    progress(static_cast<double>(appended) / denominator);
  }
  TOVRIN_CHECK(file.finish());
  if (appended != payload.storedSize) return failure(checksumError());
  return {};
}

}  // namespace tovrin
