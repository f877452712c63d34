#include "cli/item_json.h"

namespace tovrin::cli {

namespace {

std::string_view name(NSFileProviderContentPolicy policy) {
  return policy == NSFileProviderContentPolicy::downloadLazily ? "downloadLazily" : "inherited";
}

void dateMember(const JSONObject& object, std::string_view key, std::optional<Date> date) {
  if (date) object.rawMember(key, shortestDecimal(date->secondsSince1970));
}

}  // namespace

void writeItem(JSONWriter& writer, const TovrinFileProviderItem& item) {
  const JSONObject object(writer);
  object.member("itemIdentifier", item.itemIdentifier());
  object.member("parentItemIdentifier", item.parentItemIdentifier());
  object.member("filename", item.filename());
  object.member("contentType", item.contentType().identifier());
  object.member("documentSize", item.documentSize());
  dateMember(object, "creationDate", item.creationDate());
  dateMember(object, "contentModificationDate", item.contentModificationDate());
  object.member("capabilities", item.capabilities());
  object.member("contentPolicy", name(item.contentPolicy()));
  object.member("isUploaded", item.isUploaded());
  object.member("itemVersion", item.itemVersion().contentVersion);
  object.member("warpID", item.warpID());
  if (item.entry()) object.rawMember("entry", encodeEntry(*item.entry()));
}

void writeItems(JSONWriter& writer, std::span<const SharedItem> items) {
  writeArray(writer, items, [&](const SharedItem& item) { writeItem(writer, *item); });
}

void writeRecord(JSONWriter& writer, const TovrinWarpSharedCachedItemRecord& record) {
  const JSONObject object(writer);
  object.member("warpID", record.warpID);
  object.member("relativePath", record.relativePath);
  object.member("size", record.size);
  object.member("cachedAt", record.cachedAt);
  object.member("materializedModificationTimeNanoseconds", record.materializedModificationTimeNanoseconds);
  object.member("materializedStatusChangeTimeNanoseconds", record.materializedStatusChangeTimeNanoseconds);
  object.member("materializedBirthTimeNanoseconds", record.materializedBirthTimeNanoseconds);
  object.member("modifiedAt", record.modifiedAt);
  object.member("pendingWritebackFilePath", record.pendingWritebackFilePath);
  object.member("pendingWritebackSize", record.pendingWritebackSize);
  object.member("pendingWritebackChecksumSHA256", record.pendingWritebackChecksumSHA256);
  object.member("recoveryCheckpointPendingSince", record.recoveryCheckpointPendingSince);
}

void writeRecord(JSONWriter& writer, const TovrinWarpSharedDestroyedManifestRecord& record) {
  const JSONObject object(writer);
  object.member("warpID", record.warpID);
  object.member("manifestKey", record.manifestKey);
  object.member("originalFolderPath", record.originalFolderPath);
  object.member("destroyedAt", record.destroyedAt);
}

}  // namespace tovrin::cli
