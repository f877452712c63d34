#include "tovrin-warp/payload_writer.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <span>

#include "lzfse_encoder/lzfse_encoder.h"
#include "platform/posix/timestamps.h"
#include "platform/sha256.h"

namespace tovrin::warp {
namespace {

constexpr std::string_view kBundleStrategy = "bundle-direct-unpacked";
constexpr std::string_view kMultipartStrategy = "multipart";
/// Files up to this size share objects when the layout is chosen by itself.
constexpr std::int64_t kMostBundledBytes = 256 << 10;

bool isStillScanned(int file, const ScannedObject& object) {
  struct stat attributes{};
  return ::fstat(file, &attributes) == 0 && S_ISREG(attributes.st_mode) && attributes.st_size == object.size &&
         attributes.st_ino == object.identity.inode &&
         nanosecondsOf(attributes.st_mtim) == object.modificationTimeNanoseconds &&
         nanosecondsOf(attributes.st_ctim) == object.statusChangeTimeNanoseconds;
}

void hashZeros(SHA256& hash, std::int64_t count) {
  static const std::vector<std::byte> zeros(1 << 18);
  while (count > 0) {
    const auto piece = static_cast<std::size_t>(std::min<std::int64_t>(count, static_cast<std::int64_t>(zeros.size())));
    hash.update(std::span(zeros).first(piece));
    count -= static_cast<std::int64_t>(piece);
  }
}

/// Of the whole file, its holes read as zeros.
Result<std::string> checksumOf(const StoredBytes& data, std::int64_t size) {
  SHA256 hash;
  std::int64_t hashed = 0, stored = 0;
  for (const DataRun& run : data.runs()) {
    hashZeros(hash, run.offset - hashed);
    TOVRIN_CHECK(forEachPiece(data, stored, run.length, [&](std::string_view piece) -> Result<void> {
      hash.update(std::as_bytes(std::span(piece)));
      return {};
    }));
    stored += run.length;
    hashed = run.offset + run.length;
  }
  hashZeros(hash, size - hashed);
  return hash.finalizeHex();
}

Result<SpoolFile> encode(const StoredBytes& bytes) {
  TOVRIN_TRY(SpoolFile spool, SpoolFile::create());
  LZFSEEncoder encoder;
  std::string out;
  const auto encodePiece = [&](std::string_view piece) -> Result<void> {
    out.clear();
    encoder.append(std::as_bytes(std::span(piece)), out);
    return spool.append(out);
  };
  TOVRIN_CHECK(forEachPiece(bytes, 0, bytes.size(), encodePiece));
  out.clear();
  encoder.finish(out);
  TOVRIN_CHECK(spool.append(out));
  return spool;
}

/// Less than a sixteenth saved is not worth decoding on every opening.
bool isWorthDecoding(std::int64_t encoded, std::int64_t raw) { return encoded <= raw - raw / 16; }

std::vector<TovrinWarpSharedSparseExtent> extentsOf(const StoredBytes& bytes) {
  std::vector<TovrinWarpSharedSparseExtent> extents;
  std::int64_t stored = 0;
  for (const DataRun& run : bytes.runs()) {
    extents.push_back({.logicalOffset = run.offset, .storedOffset = stored, .length = run.length});
    stored += run.length;
  }
  return extents;
}

NSError changedError(const std::filesystem::path& path) {
  return NSError::posix(EAGAIN, fmt::format("\"{}\" changed while it was being read.", path.native()));
}

}  // namespace

Result<Payload> PayloadWriter::write(const std::filesystem::path& path, const ScannedObject& object) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) {
    return failure(NSError::posix(errno, fmt::format("\"{}\" could not be opened: error {}.", path.native(), errno)));
  }
  if (!isStillScanned(file.number(), object)) return failure(changedError(path));
  ++files_;

  std::vector<DataRun> runs{{0, object.size}};
  if (options_.sparse == SparseChoice::automatic) {
    TOVRIN_TRY(runs, findDataRuns(file.number(), object.size));
  } else if (object.size == 0) {
    runs.clear();
  }
  StoredBytes bytes(file.number(), std::move(runs));
  const bool hasHoles = bytes.size() < object.size;

  Payload payload;
  if (options_.checksums) {
    TOVRIN_TRY(payload.checksum, checksumOf(bytes, object.size));
  }
  std::optional<SpoolFile> encoded;
  if (hasHoles) {
    payload.extents = extentsOf(bytes);
  } else if (object.size > 0 && options_.encoding != EncodingChoice::raw) {
    TOVRIN_TRY(encoded, encode(bytes));
    if (options_.encoding == EncodingChoice::lzfse || isWorthDecoding(encoded->size(), object.size)) {
      payload.encoding = TovrinWarpSharedPayloadEncoding::lzfse;
      bytes = encoded->bytes();
    }
  }
  payload.storedSize = bytes.size();
  storedBytes_ += bytes.size();
  if (bytes.size() == 0) return payload;

  switch (layoutFor(bytes.size())) {
    case LayoutChoice::parts:
      TOVRIN_CHECK(writeAsParts(bytes, object, payload));
      break;
    case LayoutChoice::bundle:
      TOVRIN_CHECK(writeIntoBundle(bytes, payload));
      break;
    case LayoutChoice::object:
    case LayoutChoice::automatic:
      TOVRIN_CHECK(writeAsObject(bytes, object, payload));
      break;
  }
  if (!isStillScanned(file.number(), object)) return failure(changedError(path));
  return payload;
}

Result<void> PayloadWriter::finish() {
  if (!bundle_) return {};
  const StoredBytes bytes = bundle_->spool.bytes();
  TOVRIN_CHECK(put(partBucket(), bundle_->key, {bytes, 0, bytes.size()}));
  bundle_.reset();
  return {};
}

LayoutChoice PayloadWriter::layoutFor(std::int64_t storedSize) const {
  if (options_.layout != LayoutChoice::automatic) return options_.layout;
  if (storedSize <= std::min(kMostBundledBytes, options_.bundleBytes)) return LayoutChoice::bundle;
  return storedSize > options_.partBytes ? LayoutChoice::parts : LayoutChoice::object;
}

Result<void> PayloadWriter::writeAsObject(const StoredBytes& bytes, const ScannedObject& object, Payload& payload) {
  payload.payloadKey = fmt::format("{}/objects/{}", warpID_, objectName(object));
  return put(kDefaultBucket, *payload.payloadKey, {bytes, 0, bytes.size()});
}

Result<void> PayloadWriter::writeAsParts(const StoredBytes& bytes, const ScannedObject& object, Payload& payload) {
  payload.uploadStrategy = kMultipartStrategy;
  payload.multipartPartSizeBytes = options_.partBytes;
  for (std::int64_t offset = 0; offset < bytes.size(); offset += options_.partBytes) {
    const std::int64_t length = std::min(options_.partBytes, bytes.size() - offset);
    // The offset counts over all parts: parts are joined in its order.
    payload.parts.push_back(
        {fmt::format("{}/parts/{}/{:05}", warpID_, objectName(object), payload.parts.size() + 1), offset, length});
    TOVRIN_CHECK(put(partBucket(), payload.parts.back().key, {bytes, offset, length}));
  }
  return {};
}

Result<void> PayloadWriter::writeIntoBundle(const StoredBytes& bytes, Payload& payload) {
  payload.uploadStrategy = kBundleStrategy;
  if (bundle_ && bundle_->spool.size() + bytes.size() > options_.bundleBytes) TOVRIN_CHECK(finish());
  if (!bundle_) {
    TOVRIN_TRY(SpoolFile spool, SpoolFile::create());
    bundle_ = Bundle{fmt::format("{}/bundles/{:08}", warpID_, ++bundles_), std::move(spool)};
  }
  payload.parts.push_back({bundle_->key, bundle_->spool.size(), bytes.size()});
  return forEachPiece(bytes, 0, bytes.size(), [&](std::string_view piece) { return bundle_->spool.append(piece); });
}

std::string PayloadWriter::objectName(const ScannedObject& object) const {
  return options_.keys == KeyChoice::paths ? object.relativePath : fmt::format("{:08}", files_);
}

Result<void> PayloadWriter::put(std::string_view bucket, std::string_view key, const ObjectSlice& slice) {
  ++objects_;
  return sink_.put(bucket, key, slice);
}

std::string_view PayloadWriter::partBucket() const {
  return options_.partNamespace == TovrinPayloadNamespace::warp ? kWarpBucket : kDefaultBucket;
}

}  // namespace tovrin::warp
