#include "materialize/payload_reconstruction.h"

#include <optional>
#include <utility>

#include "foundation/uuid.h"
#include "materialize/file_checksum.h"
#include "materialize/lzfse_decoding.h"
#include "materialize/sparse_layout.h"
#include "materialize/temporary_file.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

Result<void> decodeFile(const std::filesystem::path& stored, const std::filesystem::path& decoded,
                        const DecodedSizeLimit& limit, const WrittenBytes& written, std::stop_token stop) {
  TOVRIN_TRY(FileHandle input, FileHandle::forReading(stored));
  TOVRIN_TRY(FileHandle output, FileHandle::createExclusively(decoded));
  TOVRIN_CHECK(decodeLZFSE(input, output, limit, written, std::move(stop)));
  return output.close();
}

bool isPacked(const ReconstructionRequest& request) {
  return request.payload.payloadEncoding == TovrinWarpSharedPayloadEncoding::lzfse;
}

/// Whether what is assembled, and decoded, is moved to the destination as it is.
bool isWholeFile(const ReconstructionRequest& request) { return request.payload.rare->sparseExtents.empty(); }

/// A file without extents is the decoded bytes themselves, so more than its size could only fail the verification. Of a
/// sparse file nothing behind the last extent is ever read.
DecodedSizeLimit decodedSizeLimit(const ReconstructionRequest& request) {
  if (isWholeFile(request)) return {request.entry.size, DecodedSizeLimit::Surplus::isAnError};
  return {storedEnd(request.payload.rare->sparseExtents), DecodedSizeLimit::Surplus::isDropped};
}

/// Has `file` hashed while it is written, if it is what will be verified.
WrittenBytes hashedBy(GrowingFileHash& hash, const std::filesystem::path& file, bool isDelivered,
                      const ReconstructionRequest& request) {
  if (!isDelivered || !request.entry.contentChecksumSHA256) return [](std::int64_t) {};
  return [&hash, file](std::int64_t end) { hash.standsUpTo(file, end); };
}

}  // namespace

Result<void> reconstruct(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                         const ReconstructionRequest& request, const AssemblyProgress& progress, std::stop_token stop) {
  const std::filesystem::path directory = request.destination.parent_path();
  TOVRIN_CHECK(createDirectories(directory));
  const TemporaryFile stored(directory / ("." + makeUUIDString() + ".stored"));
  GrowingFileHash hash;
  const bool isDelivered = !isPacked(request) && isWholeFile(request);
  TOVRIN_CHECK(assembleStoredFile(client, snapshot, request.payload, stored.path(), progress,
                                  hashedBy(hash, stored.path(), isDelivered, request), stop));
  TemporaryFile destination(request.destination);
  TOVRIN_CHECK(materializeStored(stored.path(), request, hash, stop));
  TOVRIN_CHECK(verifyFile(request.destination, request.entry, hash, stop));
  destination.keep();
  return {};
}

Result<void> materializeStored(const std::filesystem::path& stored, const ReconstructionRequest& request,
                               GrowingFileHash& hash, std::stop_token stop) {
  std::optional<TemporaryFile> decoded;
  if (isPacked(request)) {
    decoded.emplace(request.temporaryDirectory / ("tovrin-provider-" + makeUUIDString() + ".decoded"));
    TOVRIN_CHECK(decodeFile(stored, decoded->path(), decodedSizeLimit(request),
                            hashedBy(hash, decoded->path(), isWholeFile(request), request), stop));
  }
  const std::filesystem::path& source = decoded ? decoded->path() : stored;
  removeQuietly(request.destination);
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(source));
  const bool isAllZeros = request.entry.size >= 1 && attributes.identity.size == 0;
  if (isWholeFile(request) && !isAllZeros) return moveItem(source, request.destination);
  return writeSparseFile(source, request.destination, request.entry.size, request.payload.rare->sparseExtents,
                         hashedBy(hash, request.destination, true, request), std::move(stop));
}

}  // namespace tovrin
