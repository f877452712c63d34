#include "support/warp_fixture.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "platform/sha256.h"

namespace tovrin {
namespace {

/// Members of one JSON object, in the order in which they are added.
class ObjectText {
 public:
  void add(std::string_view key, const std::string& value) { addRaw(key, quoted(value)); }
  void add(std::string_view key, std::int64_t value) { addRaw(key, std::to_string(value)); }
  template <class T>
  void add(std::string_view key, const std::optional<T>& value) {
    if (value) add(key, *value);
  }
  template <class T, class ToText>
  void addList(std::string_view key, const std::vector<T>& elements, ToText toText) {
    std::string list;
    for (const T& element : elements) list += (list.empty() ? "" : ",") + toText(element);
    addRaw(key, "[" + list + "]");
  }
  void addRaw(std::string_view key, const std::string& value) { addMembers(quoted(key) + ":" + value); }
  void addMembers(const std::string& members) {
    if (!members.empty()) members_ += (members_.empty() ? "" : ",") + members;
  }

  std::string text() const { return "{" + members_ + "}"; }

  static std::string quoted(std::string_view text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return {buffer.GetString(), buffer.GetSize()};
  }

 private:
  std::string members_;
};

std::string partJSON(const PartSpec& part) {
  ObjectText object;
  object.add("key", part.key);
  object.add("offset", part.offset);
  object.add("size", part.size);
  object.add("namespace", part.payloadNamespace);
  return object.text();
}

std::string extentJSON(const ExtentSpec& extent) {
  ObjectText object;
  object.add("logicalOffset", extent.logicalOffset);
  object.add("storedOffset", extent.storedOffset);
  object.add("length", extent.length);
  return object.text();
}

std::string tombstoneJSON(const TombstoneSpec& record) {
  ObjectText object;
  object.add("warpID", record.warpID);
  object.add("manifestKey", record.manifestKey);
  object.add("originalFolderPath", record.originalFolderPath);
  object.add("destroyedAt", record.destroyedAt);
  return object.text();
}

std::filesystem::path install(const std::filesystem::path& path, const std::string& bytes) {
  writeFile(path, bytes);
  return path;
}

}  // namespace

EntrySpec fileEntry(std::string path, std::string_view contents, std::string key) {
  EntrySpec entry;
  entry.path = std::move(path);
  entry.size = static_cast<std::int64_t>(contents.size());
  entry.payloadKey = std::move(key);
  entry.contentChecksumSHA256 = sha256Hex(contents);
  return entry;
}

std::string entryJSON(const EntrySpec& entry) {
  ObjectText object;
  object.add("absolutePath", entry.path);
  object.add("displayName", entry.displayName);
  object.add("kind", entry.kind);
  object.add("size", entry.size);
  object.add("modificationTimeNanoseconds", entry.modificationTimeNanoseconds);
  object.add("birthTimeNanoseconds", entry.birthTimeNanoseconds);
  object.add("posixPermissions", entry.posixPermissions);
  object.add("symlinkTarget", entry.symlinkTarget);
  object.add("payloadKey", entry.payloadKey);
  if (!entry.payloadParts.empty()) object.addList("payloadParts", entry.payloadParts, partJSON);
  object.add("uploadStrategy", entry.uploadStrategy);
  object.add("contentChecksumSHA256", entry.contentChecksumSHA256);
  object.add("payloadEncoding", entry.payloadEncoding);
  object.add("storedSize", entry.storedSize);
  if (!entry.sparseExtents.empty()) object.addList("sparseExtents", entry.sparseExtents, extentJSON);
  object.add("hardLinkPrimaryPath", entry.hardLinkPrimaryPath);
  object.addMembers(entry.rawMembers);
  return object.text();
}

std::string manifestJSON(const ManifestSpec& manifest) {
  ObjectText object;
  object.add("warpID", manifest.warpID);
  object.add("deviceID", manifest.deviceID);
  object.add("manifestKey", manifest.manifestKey.value_or("manifests/" + manifest.warpID + ".json"));
  object.add("originalFolderPath", manifest.originalFolderPath);
  object.add("displayName", manifest.displayName);
  object.add("createdAt", manifest.createdAt);
  object.add("uploadedAt", manifest.uploadedAt);
  object.add("replacedAt", manifest.replacedAt);
  object.add("status", manifest.status);
  object.addList("entries", manifest.entries, entryJSON);
  object.addMembers(manifest.rawMembers);
  return object.text();
}

std::string visibilityIndexJSON(const std::vector<std::string>& visibleWarpIDs) {
  ObjectText object;
  object.add("generatedAt", std::string("2025-03-02T12:00:00Z"));
  object.addList("visibleWarpIDs", visibleWarpIDs,
                 [](const std::string& warpID) { return ObjectText::quoted(warpID); });
  return object.text();
}

std::string tombstonesJSON(const std::vector<TombstoneSpec>& records) {
  ObjectText object;
  object.add("version", 1);
  object.add("generatedAt", std::string("2025-03-02T12:00:00Z"));
  object.addList("records", records, tombstoneJSON);
  return object.text();
}

std::string connectionJSON(std::string_view httpAddress, std::string_view apiPassword) {
  ObjectText object;
  object.add("httpAddress", std::string(httpAddress));
  object.add("apiPassword", std::string(apiPassword));
  object.add("updatedAt", std::string("2025-03-02T12:00:00Z"));
  return object.text();
}

std::filesystem::path installManifest(const TestPlatform& platform, const ManifestSpec& manifest) {
  return install(platform.warpDirectory() / "ManifestMirror" / (manifest.warpID + ".json"), manifestJSON(manifest));
}

std::filesystem::path installVisibilityIndex(const TestPlatform& platform,
                                             const std::vector<std::string>& visibleWarpIDs) {
  return install(platform.warpDirectory() / "manifest-visibility-index.json", visibilityIndexJSON(visibleWarpIDs));
}

std::filesystem::path installTombstones(const TestPlatform& platform, const std::vector<TombstoneSpec>& records) {
  return install(platform.warpDirectory() / "destroyed-manifest-index.json", tombstonesJSON(records));
}

std::filesystem::path installConnection(const TestPlatform& platform, std::string_view httpAddress,
                                        std::string_view apiPassword) {
  return install(platform.warpDirectory() / "renterd-connection.json", connectionJSON(httpAddress, apiPassword));
}

std::filesystem::path installMarker(const std::filesystem::path& folder, std::string_view warpID) {
  ObjectText object;
  object.add("warpID", std::string(warpID));
  return install(folder / ".tovrin-warped.json", object.text());
}

}  // namespace tovrin
