#include "tovrin-warp/manifest_draft.h"

#include <algorithm>

#include "foundation/path.h"
#include "platform/clock.h"

namespace tovrin::warp {

ManifestDraft::ManifestDraft(const MakeOptions& options) : options_(options) {
  constexpr std::int64_t kLatestVersion = 4;
  manifest_.storage = texts_;
  manifest_.version = kLatestVersion;
  manifest_.warpID = texts_->add(options.warpID);
  manifest_.deviceID = texts_->add(options.deviceID);
  manifest_.manifestKey = texts_->add("manifests/" + options.warpID + ".json");
  manifest_.originalFolderPath = texts_->add(options.originalFolderPath);
  manifest_.displayName =
      options.displayName.empty() ? lastPathComponent(manifest_.originalFolderPath) : texts_->add(options.displayName);
  manifest_.createdAt = options.createdAt.value_or(systemClock().now());
  manifest_.status =
      options.status.value_or(options.mark ? TovrinWarpSharedStatus::replaced : TovrinWarpSharedStatus::verified);
  if (!options.failureDescription.empty()) manifest_.failureDescription = texts_->add(options.failureDescription);
}

ManifestDraft::Identity ManifestDraft::identityOf(const ScannedObject& object) {
  return {object.identity.deviceID, object.identity.inode};
}

TovrinWarpSharedEntry ManifestDraft::entryFor(const ScannedObject& object) {
  TovrinWarpSharedEntry entry;
  const std::string_view folder = manifest_.originalFolderPath;
  if (object.relativePath.empty()) {
    entry.relativePath = folder;
  } else {
    entry.relativePath = texts_->add(std::string(folder) + (folder.ends_with('/') ? "" : "/") + object.relativePath);
  }
  entry.displayName = lastPathComponent(entry.relativePath);
  entry.kind = object.kind;
  entry.size = object.size;
  entry.modificationTimeNanoseconds = object.modificationTimeNanoseconds;
  entry.statusChangeTimeNanoseconds = object.statusChangeTimeNanoseconds;
  entry.birthTimeNanoseconds = object.birthTimeNanoseconds;
  entry.ownerUserID = object.ownerUserID;
  entry.ownerGroupID = object.ownerGroupID;
  entry.posixPermissions = object.posixPermissions;
  if (object.kind == TovrinWarpSharedEntryKind::symlink)
    texts_->filling(entry.rare).symlinkTarget = texts_->keep(object.symlinkTarget);
  if (object.hasOtherLinks) texts_->filling(entry.rare).hardLinkIdentity = texts_->keep(object.identity);
  return entry;
}

void ManifestDraft::add(const ScannedObject& object, const Payload& payload) {
  TovrinWarpSharedEntry entry = entryFor(object);
  entry.storedSize = payload.storedSize;
  entry.payloadEncoding = payload.encoding;
  if (payload.payloadKey) entry.payloadKey = texts_->keep(*payload.payloadKey);
  std::vector<TovrinWarpSharedPayloadPart> parts;
  for (const PayloadPart& part : payload.parts) {
    parts.push_back({texts_->add(part.key), part.offset, part.size, options_.payload.partNamespace});
  }
  entry.payloadParts = texts_->add(parts);
  if (payload.uploadStrategy) entry.uploadStrategy = texts_->keep(*payload.uploadStrategy);
  if (payload.multipartPartSizeBytes) {
    texts_->filling(entry.rare).multipartPartCount = texts_->keep(static_cast<std::int64_t>(parts.size()));
    texts_->filling(entry.rare).multipartPartSizeBytes = texts_->keep(*payload.multipartPartSizeBytes);
  }
  if (payload.checksum) entry.contentChecksumSHA256 = texts_->add(*payload.checksum);
  if (!payload.extents.empty()) texts_->filling(entry.rare).sparseExtents = texts_->add(payload.extents);
  if (object.hasOtherLinks) primaries_.emplace(identityOf(object), manifest_.entries.size());
  manifest_.entries.push_back(entry);
}

bool ManifestDraft::isFurtherLink(const ScannedObject& object) const {
  return object.hasOtherLinks && primaries_.contains(identityOf(object));
}

void ManifestDraft::addFurtherLink(const ScannedObject& object) {
  const TovrinWarpSharedEntry& primary = manifest_.entries[primaries_.at(identityOf(object))];
  TovrinWarpSharedEntry entry = primary;
  const TovrinWarpSharedEntry own = entryFor(object);
  entry.relativePath = own.relativePath;
  entry.displayName = own.displayName;
  entry.rare = {};
  TovrinWarpSharedRareEntryFields& rare = texts_->filling(entry.rare);
  rare = *primary.rare;
  rare.hardLinkPrimaryPath = texts_->keep(primary.relativePath);
  if (options_.hardLinks == HardLinkChoice::primaryOnly) {
    entry.payloadKey.reset();
    entry.payloadParts = {};
  }
  manifest_.entries.push_back(entry);
}

void ManifestDraft::chooseSamples() {
  std::vector<std::string_view> files;
  for (const TovrinWarpSharedEntry& entry : manifest_.entries) {
    if (entry.kind == TovrinWarpSharedEntryKind::file) files.push_back(entry.relativePath);
  }
  // Spread over the whole Warp, and the same ones every time.
  std::vector<std::string_view> samples;
  const std::size_t count = std::min(options_.samples, files.size());
  for (std::size_t i = 0; i < count; ++i) samples.push_back(files[i * files.size() / count]);
  manifest_.verificationSampleRelativePaths = texts_->add(samples);
}

std::string ManifestDraft::finish() {
  chooseSamples();
  const Date now = options_.createdAt.value_or(systemClock().now());
  switch (manifest_.status) {
    case TovrinWarpSharedStatus::replaced:
    case TovrinWarpSharedStatus::needsAttention:
      manifest_.replacedAt = now;
      [[fallthrough]];
    case TovrinWarpSharedStatus::verified:
      manifest_.uploadedAt = now;
      break;
    case TovrinWarpSharedStatus::uploading:
    case TovrinWarpSharedStatus::failed:
      break;
  }
  return encodeManifest(manifest_);
}

}  // namespace tovrin::warp
