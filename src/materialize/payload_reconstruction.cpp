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

/// A file without extents is the decoded bytes themselves, so more than its size could only fail the verification. Of a
/// sparse file nothing behind the last extent is ever read.
DecodedSizeLimit decodedSizeLimit(const ReconstructionRequest& request) {
  const auto& extents = request.payload.rare->sparseExtents;
  if (extents.empty()) return {request.entry.size, DecodedSizeLimit::Surplus::isAnError};
  return {storedEnd(extents), DecodedSizeLimit::Surplus::isDropped};
}

Result<void> decodeFile(const std::filesystem::path& stored, const std::filesystem::path& decoded,
                        const DecodedSizeLimit& limit, std::stop_token stop) {
  TOVRIN_TRY(FileHandle input, FileHandle::forReading(stored));
  TOVRIN_TRY(FileHandle output, FileHandle::createExclusively(decoded));
  TOVRIN_CHECK(decodeLZFSE(input, output, limit, std::move(stop)));
  return output.close();
}

}  // namespace

Result<void> reconstruct(RenterdClient& client, const TovrinWarpRenterdConnectionSnapshot& snapshot,
                         const ReconstructionRequest& request, const AssemblyProgress& progress, std::stop_token stop) {
  const std::filesystem::path directory = request.destination.parent_path();
  TOVRIN_CHECK(createDirectories(directory));
  const TemporaryFile stored(directory / ("." + makeUUIDString() + ".stored"));
  TOVRIN_CHECK(assembleStoredFile(client, snapshot, request.payload, stored.path(), progress, stop));
  TemporaryFile destination(request.destination);
  TOVRIN_CHECK(materializeStored(stored.path(), request, stop));
  TOVRIN_CHECK(verifyFile(request.destination, request.entry, std::move(stop)));
  destination.keep();
  return {};
}

Result<void> materializeStored(const std::filesystem::path& stored, const ReconstructionRequest& request,
                               std::stop_token stop) {
  std::optional<TemporaryFile> decoded;
  if (request.payload.payloadEncoding == TovrinWarpSharedPayloadEncoding::lzfse) {
    decoded.emplace(request.temporaryDirectory / ("tovrin-provider-" + makeUUIDString() + ".decoded"));
    TOVRIN_CHECK(decodeFile(stored, decoded->path(), decodedSizeLimit(request), stop));
  }
  const std::filesystem::path& source = decoded ? decoded->path() : stored;
  removeQuietly(request.destination);
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(source));
  const auto& extents = request.payload.rare->sparseExtents;
  const bool isAllZeros = request.entry.size >= 1 && attributes.identity.size == 0;
  if (extents.empty() && !isAllZeros) return moveItem(source, request.destination);
  return writeSparseFile(source, request.destination, request.entry.size, extents, std::move(stop));
}

}  // namespace tovrin
