#include "shared/manifest.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <tuple>
#include <utility>

#include "foundation/encoding.h"
#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "foundation/path.h"
#include "platform/user.h"
#include "shared/manifest_rules.h"

namespace tovrin {

template <>
struct JSONEnumeration<TovrinWarpSharedEntryKind> {
  static constexpr std::string_view name = "TovrinWarpSharedEntryKind";
  static constexpr std::array<std::string_view, 3> cases{"file", "directory", "symlink"};
};

template <>
struct JSONEnumeration<TovrinWarpSharedStatus> {
  static constexpr std::string_view name = "TovrinWarpSharedStatus";
  static constexpr std::array<std::string_view, 5> cases{"uploading", "verified", "replaced", "failed",
                                                         "needsAttention"};
};

template <>
struct JSONEnumeration<TovrinWarpSharedPayloadEncoding> {
  static constexpr std::string_view name = "TovrinWarpSharedPayloadEncoding";
  static constexpr std::array<std::string_view, 2> cases{"raw", "lzfse"};
};

template <>
struct JSONEnumeration<TovrinPayloadNamespace> {
  static constexpr std::string_view name = "TovrinPayloadNamespace";
  static constexpr std::array<std::string_view, 2> cases{"backup", "warp"};
};

template <>
struct RecordCoding<TovrinWarpSharedPayloadPart> {
  using Part = TovrinWarpSharedPayloadPart;
  static constexpr std::tuple fields{
      field("key", &Part::key),
      field("offset", &Part::offset),
      field("size", &Part::size),
      field("namespace", &Part::namespace_),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedSparseExtent> {
  using Extent = TovrinWarpSharedSparseExtent;
  static constexpr std::tuple fields{
      field("logicalOffset", &Extent::logicalOffset),
      field("storedOffset", &Extent::storedOffset),
      field("length", &Extent::length),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedHardLinkIdentity> {
  using Identity = TovrinWarpSharedHardLinkIdentity;
  static constexpr std::tuple fields{
      field("deviceID", &Identity::deviceID),
      field("inode", &Identity::inode),
  };
};

namespace {

std::uint16_t defaultPermissions(const TovrinWarpSharedEntry& entry) {
  switch (entry.kind) {
    case TovrinWarpSharedEntryKind::file:
      return 0600;
    case TovrinWarpSharedEntryKind::directory:
      return 0700;
    case TovrinWarpSharedEntryKind::symlink:
      return 0777;
  }
  std::unreachable();
}

}  // namespace

template <>
struct RecordCoding<TovrinWarpSharedEntry> {
  using Entry = TovrinWarpSharedEntry;
  using Rare = TovrinWarpSharedRareEntryFields;
  static constexpr std::tuple fields{
      field("absolutePath", &Entry::relativePath),
      rule(
          "absolutePath", [](const Entry& e) { return isCanonicalAbsolutePath(e.relativePath); },
          "Shared Warp entries require canonical absolute paths."),
      defaulted("displayName", &Entry::displayName, [](const Entry& e) { return lastPathComponent(e.relativePath); }),
      field("kind", &Entry::kind),
      field("size", &Entry::size),
      rule(
          "size", [](const Entry& e) { return e.size >= 0; }, "Shared Warp entry sizes cannot be negative."),
      defaulted("modificationTimeNanoseconds", &Entry::modificationTimeNanoseconds,
                [](const Entry&) { return std::int64_t{0}; }),
      field("statusChangeTimeNanoseconds", &Entry::statusChangeTimeNanoseconds),
      field("birthTimeNanoseconds", &Entry::birthTimeNanoseconds),
      defaulted("ownerUserID", &Entry::ownerUserID, [](const Entry&) { return currentUserID(); }),
      defaulted("ownerGroupID", &Entry::ownerGroupID, [](const Entry&) { return currentGroupID(); }),
      defaulted("posixPermissions", &Entry::posixPermissions, defaultPermissions),
      defaulted("bsdFlags", &Entry::bsdFlags, [](const Entry&) { return std::uint32_t{0}; }),
      rareField("symlinkTarget", &Entry::rare, &Rare::symlinkTarget),
      field("payloadKey", &Entry::payloadKey),
      defaulted("payloadParts", &Entry::payloadParts,
                [](const Entry&) { return ArenaList<TovrinWarpSharedPayloadPart>(); }),
      field("uploadStrategy", &Entry::uploadStrategy),
      rareField("multipartPartCount", &Entry::rare, &Rare::multipartPartCount),
      rareField("multipartPartSizeBytes", &Entry::rare, &Rare::multipartPartSizeBytes),
      field("contentChecksumSHA256", &Entry::contentChecksumSHA256),
      defaulted("payloadEncoding", &Entry::payloadEncoding,
                [](const Entry&) { return TovrinWarpSharedPayloadEncoding::raw; }),
      defaulted("storedSize", &Entry::storedSize, [](const Entry& e) { return e.size; }),
      rareField("sparseExtents", &Entry::rare, &Rare::sparseExtents),
      rareField("hardLinkIdentity", &Entry::rare, &Rare::hardLinkIdentity),
      rareField("hardLinkPrimaryPath", &Entry::rare, &Rare::hardLinkPrimaryPath),
      rule(
          "storedSize", [](const Entry& e) { return e.storedSize >= 0; },
          "Shared Warp stored sizes cannot be negative."),
      rule(
          "contentChecksumSHA256",
          [](const Entry& e) { return !e.contentChecksumSHA256 || isSHA256Hex(*e.contentChecksumSHA256); },
          "Shared Warp checksums must be SHA-256 hex values."),
      rule(
          "hardLinkPrimaryPath",
          [](const Entry& e) {
            return !e.rare->hardLinkPrimaryPath || isCanonicalAbsolutePath(*e.rare->hardLinkPrimaryPath);
          },
          "Shared Warp hard-link paths must be canonical absolute paths."),
      rule(
          "payloadParts", [](const Entry& e) { return std::ranges::all_of(e.payloadParts, isSafePart); },
          "Shared Warp payload parts contain an unsafe range or object key."),
      rule(
          "payloadKey", [](const Entry& e) { return !e.payloadKey || isSafeRelativeObjectKey(*e.payloadKey); },
          "Shared Warp payload keys must be safe relative object keys."),
      rule("sparseExtents", extentsLieInside, "Shared Warp sparse extents fall outside the stored file range."),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedManifest> {
  using Manifest = TovrinWarpSharedManifest;
  static constexpr std::tuple fields{
      defaulted("version", &Manifest::version, [](const Manifest&) { return std::int64_t{1}; }),
      rule(
          "version", [](const Manifest& m) { return isSupportedVersion(m.version); },
          "Unsupported shared Warp manifest version."),
      field("warpID", &Manifest::warpID),
      field("deviceID", &Manifest::deviceID),
      field("manifestKey", &Manifest::manifestKey),
      field("originalFolderPath", &Manifest::originalFolderPath),
      rule("originalFolderPath", hasSafeIdentity, "Shared Warp identity, object key, or original path is unsafe."),
      defaulted("displayName", &Manifest::displayName,
                [](const Manifest& m) { return lastPathComponent(m.originalFolderPath); }),
      field("createdAt", &Manifest::createdAt),
      field("uploadedAt", &Manifest::uploadedAt),
      field("replacedAt", &Manifest::replacedAt),
      field("status", &Manifest::status),
      field("failureDescription", &Manifest::failureDescription),
      defaulted("verificationSampleAbsolutePaths", &Manifest::verificationSampleRelativePaths,
                [](const Manifest&) { return ArenaList<std::string_view>(); }),
      field("entries", &Manifest::entries),
      rule("entries", hasConsistentDatesAndPaths,
           "Shared Warp manifest dates or original-path ownership are inconsistent."),
      rule("entries", hasInnerHardLinks, "Shared Warp hard-link references must remain inside the manifest."),
  };
};

namespace {

/// Folds everything a record holds into one number.
class Hasher {
 public:
  template <class Value>
  void add(const Value& value) {
    if constexpr (requires { value.has_value(); }) {
      mix(value.has_value());
      if (value.has_value()) add(*value);
    } else if constexpr (requires { RecordCoding<Value>::fields; }) {
      forEachField<Value>([&](const auto& item) { add(item.of(value)); });
    } else if constexpr (std::convertible_to<Value, std::string_view>) {
      mix(std::hash<std::string_view>()(value));
    } else if constexpr (std::same_as<Value, Date>) {
      mix(std::hash<double>()(value.secondsSince1970));
    } else if constexpr (std::integral<Value> || std::is_enum_v<Value>) {
      mix(static_cast<std::size_t>(value));
    } else {
      mix(value.size());
      for (const auto& element : value) add(element);
    }
  }
  std::size_t value() const { return value_; }

 private:
  void mix(std::size_t hash) { value_ = (value_ ^ hash) * 0x9E3779B97F4A7C15u ^ value_ >> 29; }
  std::size_t value_ = 0;
};

template <class Record>
std::size_t hashOf(const Record& record) {
  Hasher hasher;
  hasher.add(record);
  return hasher.value();
}

}  // namespace

std::string_view rawValue(TovrinWarpSharedEntryKind kind) { return jsonCase(kind); }
std::string_view rawValue(TovrinWarpSharedStatus status) { return jsonCase(status); }
std::string_view rawValue(TovrinWarpSharedPayloadEncoding encoding) { return jsonCase(encoding); }
std::string_view rawValue(TovrinPayloadNamespace payloadNamespace) { return jsonCase(payloadNamespace); }

bool operator==(const TovrinWarpSharedManifest& a, const TovrinWarpSharedManifest& b) {
  bool equal = true;
  forEachField<TovrinWarpSharedManifest>([&](const auto& item) { equal = equal && item.of(a) == item.of(b); });
  return equal;
}

std::size_t hashValue(const TovrinWarpSharedPayloadPart& part) { return hashOf(part); }
std::size_t hashValue(const TovrinWarpSharedSparseExtent& extent) { return hashOf(extent); }
std::size_t hashValue(const TovrinWarpSharedHardLinkIdentity& identity) { return hashOf(identity); }
std::size_t hashValue(const TovrinWarpSharedEntry& entry) { return hashOf(entry); }
std::size_t hashValue(const TovrinWarpSharedManifest& manifest) { return hashOf(manifest); }

Result<TovrinWarpSharedManifest> decodeManifest(const JSONText& text) {
  constexpr std::size_t kSmallestChunk = 1024;
  constexpr std::size_t kLargestChunk = 1024 * 1024;
  // About a third of a manifest is kept, so that of the last chunk little goes to waste.
  auto storage = std::make_shared<TextArena>(std::clamp(text.bytes().size() / 64, kSmallestChunk, kLargestChunk));
  TOVRIN_TRY(TovrinWarpSharedManifest manifest, decodeJSON<TovrinWarpSharedManifest>(text, storage.get()));
  if (manifest.entries.capacity() - manifest.entries.size() > manifest.entries.size() / 8)
    manifest.entries.shrink_to_fit();
  manifest.storage = std::move(storage);
  return manifest;
}

std::string encodeManifest(const TovrinWarpSharedManifest& manifest) { return encodeJSON(manifest); }
std::string encodeEntry(const TovrinWarpSharedEntry& entry) { return encodeJSON(entry); }

}  // namespace tovrin
