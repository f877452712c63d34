#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"
#include "shared/manifest.h"
#include "tovrin-warp/folder_scan.h"
#include "tovrin-warp/object_sink.h"
#include "tovrin-warp/stored_bytes.h"

namespace tovrin::warp {

enum class EncodingChoice : std::uint8_t { automatic, raw, lzfse };
enum class LayoutChoice : std::uint8_t { automatic, object, parts, bundle };
enum class SparseChoice : std::uint8_t { automatic, never };
enum class KeyChoice : std::uint8_t { numbers, paths };

struct PayloadOptions {
  EncodingChoice encoding = EncodingChoice::automatic;
  LayoutChoice layout = LayoutChoice::automatic;
  SparseChoice sparse = SparseChoice::automatic;
  KeyChoice keys = KeyChoice::numbers;
  std::int64_t partBytes = 16 << 20;
  std::int64_t bundleBytes = 4 << 20;
  /// Of payload parts; absent means the parts name none. An object named by "payloadKey" never has one.
  std::optional<TovrinPayloadNamespace> partNamespace = TovrinPayloadNamespace::warp;
  bool checksums = true;
};

struct PayloadPart {
  std::string key;
  std::int64_t offset = 0;
  std::int64_t size = 0;
};

/// How one file is stored.
struct Payload {
  std::optional<std::string> payloadKey;
  std::vector<PayloadPart> parts;
  std::optional<std::string> uploadStrategy;
  std::optional<std::int64_t> multipartPartSizeBytes;
  std::optional<std::string> checksum;
  TovrinWarpSharedPayloadEncoding encoding = TovrinWarpSharedPayloadEncoding::raw;
  std::int64_t storedSize = 0;  ///< as joined from all objects, before decoding
  std::vector<TovrinWarpSharedSparseExtent> extents;
};

/// Stores the contents of one Warp's files, one after the other. Memory stays bounded whatever their size; encoded
/// files and unfinished bundles pass through the temporary directory.
///
/// A file with holes is stored as its data alone and never LZFSE: its extents count in the decoded bytes but must end
/// inside the stored size, which counts the encoded ones.
class PayloadWriter {
 public:
  PayloadWriter(PayloadOptions options, std::string warpID, ObjectSink& sink)
      : options_(options), warpID_(std::move(warpID)), sink_(sink) {}

  /// Fails when the file is not the scanned one any more.
  Result<Payload> write(const std::filesystem::path& path, const ScannedObject& object);
  /// Stores the bundle that is still open. Nothing that was written may be relied on before.
  Result<void> finish();

  std::uint64_t objects() const { return objects_; }
  std::int64_t storedBytes() const { return storedBytes_; }

 private:
  struct Bundle {
    std::string key;
    SpoolFile spool;
  };

  Result<void> writeAsObject(const StoredBytes& bytes, const ScannedObject& object, Payload& payload);
  Result<void> writeAsParts(const StoredBytes& bytes, const ScannedObject& object, Payload& payload);
  Result<void> writeIntoBundle(const StoredBytes& bytes, Payload& payload);
  LayoutChoice layoutFor(std::int64_t storedSize) const;
  std::string objectName(const ScannedObject& object) const;
  Result<void> put(std::string_view bucket, std::string_view key, const ObjectSlice& slice);
  std::string_view partBucket() const;

  PayloadOptions options_;
  std::string warpID_;
  ObjectSink& sink_;
  std::optional<Bundle> bundle_;
  std::uint64_t files_ = 0;
  std::uint64_t bundles_ = 0;
  std::uint64_t objects_ = 0;
  std::int64_t storedBytes_ = 0;
};

/// The bucket that a payload without a namespace lies in.
inline constexpr std::string_view kDefaultBucket = "tovrin";
inline constexpr std::string_view kWarpBucket = "tovrin-warped";

}  // namespace tovrin::warp
