#include "tovrin-warp/container.h"

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "foundation/path.h"
#include "platform/alternating_file.h"
#include "platform/file_system.h"
#include "shared/manifest.h"
#include "shared/manifest_indexes.h"
#include "shared/mutation_lock.h"
#include "tovrin-warp/folder_scan.h"

namespace tovrin::warp {
namespace {

constexpr std::string_view kManifestExtension = ".json";

class JSONObject {
 public:
  JSONObject() : writer_(buffer_) { writer_.StartObject(); }

  rapidjson::Writer<rapidjson::StringBuffer>& key(std::string_view name) {
    writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    return writer_;
  }
  void add(std::string_view name, std::string_view text) { addText(key(name), text); }
  static void addText(rapidjson::Writer<rapidjson::StringBuffer>& writer, std::string_view text) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
  }
  std::string finish() {
    writer_.EndObject();
    return {buffer_.GetString(), buffer_.GetSize()};
  }

 private:
  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_;
};

std::string visibilityJSON(const std::vector<std::string>& warpIDs, Date now) {
  JSONObject object;
  object.add("generatedAt", formatISO8601(now));
  auto& writer = object.key("visibleWarpIDs");
  writer.StartArray();
  for (const std::string& warpID : warpIDs) JSONObject::addText(writer, warpID);
  writer.EndArray();
  return object.finish();
}

std::string tombstonesJSON(const std::vector<TovrinWarpSharedDestroyedManifestRecord>& records, Date now) {
  JSONObject object;
  object.key("version").Int(1);
  object.add("generatedAt", formatISO8601(now));
  auto& writer = object.key("records");
  writer.StartArray();
  for (const auto& record : records) {
    writer.StartObject();
    for (const auto& [key, value] : std::initializer_list<std::pair<std::string_view, std::string>>{
             {"warpID", record.warpID},
             {"manifestKey", record.manifestKey},
             {"originalFolderPath", record.originalFolderPath},
             {"destroyedAt", formatISO8601(record.destroyedAt)}}) {
      writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
      JSONObject::addText(writer, value);
    }
    writer.EndObject();
  }
  writer.EndArray();
  return object.finish();
}

void addMissing(std::vector<std::string>& list, const std::vector<std::string>& added) {
  for (const std::string& text : added) {
    if (std::ranges::find(list, text) == list.end()) list.push_back(text);
  }
}

void removeAll(std::vector<std::string>& list, const std::vector<std::string>& removed) {
  std::erase_if(list, [&](const std::string& text) { return std::ranges::find(removed, text) != removed.end(); });
}

class ContainerDirectories final : public Directories {
 public:
  explicit ContainerDirectories(std::filesystem::path container) : container_(std::move(container)) {}

  std::optional<std::filesystem::path> appGroupContainer() const override { return container_; }
  std::optional<std::filesystem::path> applicationSupport() const override { return std::nullopt; }
  std::optional<std::filesystem::path> localState() const override { return std::nullopt; }
  std::optional<Result<std::filesystem::path>> providerTemporaryDirectory() const override { return std::nullopt; }
  std::filesystem::path temporaryDirectory() const override { return container_; }

 private:
  std::filesystem::path container_;
};

/// Nobody waits for what this tool writes: the provider looks at the directory by itself.
class SilentNotificationCenter final : public NotificationCenter {
 public:
  void post(const std::string&) override {}
};

}  // namespace

struct Container::Services {
  explicit Services(std::filesystem::path container) : directories(std::move(container)), session(makeURLSession()) {}

  Platform platform() { return {systemClock(), directories, *session, notifications}; }

  ContainerDirectories directories;
  SilentNotificationCenter notifications;
  std::unique_ptr<URLSession> session;
};

Container::Container(std::filesystem::path path)
    : warps_(path / "Warp"), services_(std::make_unique<Services>(std::move(path))) {}

Container::~Container() = default;

bool isUsableWarpID(std::string_view warpID) {
  return isSafeRelativeObjectKey(warpID) && warpID.find('/') == std::string_view::npos;
}

Result<void> writeMarker(const std::filesystem::path& folder, const std::string& warpID) {
  JSONObject object;
  object.add("warpID", warpID);
  TOVRIN_CHECK(writeFileAtomically(folder / kMarkerName, object.finish()));
  return {};
}

Result<void> Container::writeConnection(const std::string& httpAddress, const std::string& password) {
  JSONObject object;
  object.add("httpAddress", httpAddress);
  object.add("apiPassword", password);
  object.add("updatedAt", formatISO8601(systemClock().now()));

  TOVRIN_CHECK(createDirectories(warps_.path()));
  // The file holds a password: nobody else may read it, not even for the moment before its mode is set.
  const mode_t before = ::umask(077);
  const auto written = writeFileAtomically(warps_.renterdConnection(), object.finish());
  ::umask(before);
  if (!written) return failure(written.error());
  if (::chmod(warps_.renterdConnection().c_str(), 0600) != 0) return failure(NSError::posix(errno));
  return {};
}

Result<std::filesystem::path> Container::writeManifest(const std::string& warpID, const std::string& bytes) {
  TOVRIN_TRY([[maybe_unused]] const TovrinWarpSharedManifest accepted, decodeManifest(bytes));
  TOVRIN_CHECK(createDirectories(warps_.manifestMirror()));
  std::filesystem::path path = warps_.manifestMirror() / (warpID + std::string(kManifestExtension));
  TOVRIN_CHECK(writeFileAtomically(path, bytes));
  return path;
}

bool Container::hasIndex() const { return fileExists(warps_.visibilityIndex()); }

Result<std::vector<std::string>> Container::indexedWarpIDs() const {
  if (!hasIndex()) return std::vector<std::string>();
  TOVRIN_TRY(TovrinWarpSharedManifestVisibilityIndex index, loadVisibilityIndex(services_->directories));
  return std::move(index.visibleWarpIDs);
}

Result<std::vector<std::string>> Container::mirroredWarpIDs() const {
  std::vector<std::string> warpIDs;
  if (!fileExists(warps_.manifestMirror())) return warpIDs;
  TOVRIN_TRY(const std::vector<std::string> names, contentsOfDirectory(warps_.manifestMirror()));
  for (const std::string& name : names) {
    if (name.ends_with(kManifestExtension)) warpIDs.push_back(name.substr(0, name.size() - kManifestExtension.size()));
  }
  std::ranges::sort(warpIDs);
  return warpIDs;
}

Result<void> Container::writeVisibility(const std::vector<std::string>& warpIDs) {
  TOVRIN_CHECK(writeFileAtomically(warps_.visibilityIndex(), visibilityJSON(warpIDs, systemClock().now())));
  return {};
}

Result<void> Container::show(const std::vector<std::string>& warpIDs) {
  TOVRIN_CHECK(createDirectories(warps_.path()));
  TOVRIN_TRY(const auto lock, acquireMutationLock(services_->platform()));
  TOVRIN_TRY(std::vector<std::string> visible, indexedWarpIDs());
  addMissing(visible, warpIDs);
  return writeVisibility(visible);
}

Result<void> Container::hide(const std::vector<std::string>& warpIDs) {
  TOVRIN_CHECK(createDirectories(warps_.path()));
  TOVRIN_TRY(const auto lock, acquireMutationLock(services_->platform()));
  TOVRIN_TRY(std::vector<std::string> visible, hasIndex() ? indexedWarpIDs() : mirroredWarpIDs());
  removeAll(visible, warpIDs);
  return writeVisibility(visible);
}

Result<void> Container::showIfIndexed(const std::string& warpID) {
  return hasIndex() ? show({warpID}) : Result<void>();
}

Result<void> Container::destroy(const std::vector<std::string>& warpIDs, Manifest manifest) {
  TOVRIN_CHECK(createDirectories(warps_.path()));
  TOVRIN_TRY(const auto lock, acquireMutationLock(services_->platform()));
  TOVRIN_TRY(const auto tombstones, ManifestIndexes(services_->platform()).tombstones());
  std::vector<TovrinWarpSharedDestroyedManifestRecord> records = tombstones->records();
  std::vector<std::filesystem::path> manifests;
  for (const std::string& warpID : warpIDs) {
    const auto isAlready = [&](const auto& record) { return record.warpID == warpID; };
    if (std::ranges::any_of(records, isAlready)) {
      // A second tombstone of the same Warp would make the whole index unreadable.
      return failure(NSError::posix(EEXIST, fmt::format("The Warp \"{}\" is destroyed already.", warpID)));
    }
    manifests.push_back(warps_.manifestMirror() / (warpID + std::string(kManifestExtension)));
    TOVRIN_TRY(const FileContents contents, readWholeFile(manifests.back()));
    TOVRIN_TRY(const TovrinWarpSharedManifest destroyed, decodeManifest(contents.bytes));
    records.push_back({.warpID = warpID,
                       .manifestKey = std::string(destroyed.manifestKey),
                       .originalFolderPath = std::string(destroyed.originalFolderPath),
                       .destroyedAt = systemClock().now()});
  }
  // The tombstones first: with them in place, a manifest that stays by accident is not offered.
  TOVRIN_CHECK(writeFileAtomically(warps_.destroyedManifestIndex(), tombstonesJSON(records, systemClock().now())));
  if (hasIndex()) {
    TOVRIN_TRY(std::vector<std::string> visible, indexedWarpIDs());
    removeAll(visible, warpIDs);
    TOVRIN_CHECK(writeVisibility(visible));
  }
  if (manifest == Manifest::keep) return {};
  for (const std::filesystem::path& path : manifests) TOVRIN_CHECK(removeItem(path));
  return {};
}

}  // namespace tovrin::warp
