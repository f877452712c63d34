#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/json/json_text.h"
#include "foundation/packed_optional.h"
#include "foundation/result.h"
#include "foundation/text_arena.h"

/// The records of a Warp's manifest. A record is made by decoding a manifest (a value in hand is a valid value) and its
/// texts and lists point into that manifest: keep the manifest, or a shared pointer that aliases it, as long as the
/// record.
namespace tovrin {

enum class TovrinWarpSharedEntryKind : std::uint8_t { file, directory, symlink };
enum class TovrinWarpSharedStatus : std::uint8_t { uploading, verified, replaced, failed, needsAttention };
enum class TovrinWarpSharedPayloadEncoding : std::uint8_t { raw, lzfse };
enum class TovrinPayloadNamespace : std::uint8_t { backup, warp };

/// The enumerations' JSON texts, which equal the case names.
std::string_view rawValue(TovrinWarpSharedEntryKind kind);
std::string_view rawValue(TovrinWarpSharedStatus status);
std::string_view rawValue(TovrinWarpSharedPayloadEncoding encoding);
std::string_view rawValue(TovrinPayloadNamespace payloadNamespace);

/// One piece of a payload, in bytes of a remote object.
struct TovrinWarpSharedPayloadPart {
  std::string_view key;
  std::int64_t offset = 0;
  std::int64_t size = 0;
  std::optional<TovrinPayloadNamespace> namespace_;

  friend bool operator==(const TovrinWarpSharedPayloadPart&, const TovrinWarpSharedPayloadPart&) = default;
};

/// One data run of a sparse file; the gaps between runs read as zeros. All in bytes.
struct TovrinWarpSharedSparseExtent {
  std::int64_t logicalOffset = 0;
  std::int64_t storedOffset = 0;  ///< in the decoded, packed bytes
  std::int64_t length = 0;

  friend bool operator==(const TovrinWarpSharedSparseExtent&, const TovrinWarpSharedSparseExtent&) = default;
};

/// The device and inode that an object had, to recognise hard links.
struct TovrinWarpSharedHardLinkIdentity {
  std::uint64_t deviceID = 0;
  std::uint64_t inode = 0;

  friend bool operator==(const TovrinWarpSharedHardLinkIdentity&, const TovrinWarpSharedHardLinkIdentity&) = default;
};

/// What few entries of a Warp have.
struct TovrinWarpSharedRareEntryFields {
  ArenaOptional<std::string_view> symlinkTarget;
  ArenaOptional<std::int64_t> multipartPartCount;
  ArenaOptional<std::int64_t> multipartPartSizeBytes;
  ArenaList<TovrinWarpSharedSparseExtent> sparseExtents;
  ArenaOptional<TovrinWarpSharedHardLinkIdentity> hardLinkIdentity;
  ArenaOptional<std::string_view> hardLinkPrimaryPath;

  friend bool operator==(const TovrinWarpSharedRareEntryFields&, const TovrinWarpSharedRareEntryFields&) = default;
};

/// One file-system object of a Warp; a million of them fit, so the members stand where they leave no gaps and what few
/// entries have stands elsewhere. Its identity is its `relativePath`, which holds an absolute path all the same: the
/// name is the main application's, and its JSON key is "absolutePath".
struct TovrinWarpSharedEntry {
  std::string_view relativePath;
  std::string_view displayName;
  std::int64_t size = 0;
  std::int64_t modificationTimeNanoseconds = 0;
  std::int64_t storedSize = 0;  ///< bytes assembled from all parts, before decoding and sparse expansion
  ArenaList<TovrinWarpSharedPayloadPart> payloadParts;
  ArenaOptional<std::string_view> payloadKey;
  ArenaOptional<std::string_view> uploadStrategy;
  ArenaRecord<TovrinWarpSharedRareEntryFields> rare;
  std::uint32_t ownerUserID = 0;
  std::uint32_t ownerGroupID = 0;
  std::uint32_t bsdFlags = 0;
  std::uint16_t posixPermissions = 0;
  TovrinWarpSharedEntryKind kind = TovrinWarpSharedEntryKind::file;
  TovrinWarpSharedPayloadEncoding payloadEncoding = TovrinWarpSharedPayloadEncoding::raw;
  PackedOptional<std::int64_t> statusChangeTimeNanoseconds;
  PackedOptional<std::int64_t> birthTimeNanoseconds;
  PackedOptional<std::string_view> contentChecksumSHA256;  ///< of the logical content, 64 hexadecimal digits

  friend bool operator==(const TovrinWarpSharedEntry&, const TovrinWarpSharedEntry&) = default;
};

/// One Warp. Its identity is its `warpID`.
struct TovrinWarpSharedManifest {
  std::int64_t version = 1;
  std::string_view warpID;
  std::string_view deviceID;
  std::string_view manifestKey;
  std::string_view originalFolderPath;
  std::string_view displayName;
  Date createdAt;
  std::optional<Date> uploadedAt;
  std::optional<Date> replacedAt;
  TovrinWarpSharedStatus status = TovrinWarpSharedStatus::uploading;
  PackedOptional<std::string_view> failureDescription;
  ArenaList<std::string_view> verificationSampleRelativePaths;
  std::vector<TovrinWarpSharedEntry> entries;

  /// Holds what the views above and those of the entries point to.
  std::shared_ptr<const TextArena> storage;

  TovrinWarpSharedManifest() = default;
  TovrinWarpSharedManifest(TovrinWarpSharedManifest&&) = default;
  TovrinWarpSharedManifest& operator=(TovrinWarpSharedManifest&&) = default;

  /// By every field; where two manifests keep their texts makes no difference.
  friend bool operator==(const TovrinWarpSharedManifest& a, const TovrinWarpSharedManifest& b);
};

std::size_t hashValue(const TovrinWarpSharedPayloadPart& part);
std::size_t hashValue(const TovrinWarpSharedSparseExtent& extent);
std::size_t hashValue(const TovrinWarpSharedHardLinkIdentity& identity);
std::size_t hashValue(const TovrinWarpSharedEntry& entry);
std::size_t hashValue(const TovrinWarpSharedManifest& manifest);

/// Decodes and validates; a manifest that breaks any rule is not decoded at all. The error names the first failing key
/// in the order of the records' fields.
Result<TovrinWarpSharedManifest> decodeManifest(const JSONText& text);

/// Every field in order with its default filled in; absent optional fields are left out.
std::string encodeManifest(const TovrinWarpSharedManifest& manifest);
std::string encodeEntry(const TovrinWarpSharedEntry& entry);

/// The path itself or below it, by canonical equivalence.
bool liesInside(std::string_view path, std::string_view originalFolderPath);

}  // namespace tovrin
