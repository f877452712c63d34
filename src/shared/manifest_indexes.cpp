#include "shared/manifest_indexes.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/path.h"
#include "platform/file_system.h"
#include "platform/text.h"

namespace tovrin {

template <>
struct RecordCoding<TovrinWarpSharedManifestVisibilityIndex> {
  using Index = TovrinWarpSharedManifestVisibilityIndex;
  static constexpr std::tuple fields{
      field("generatedAt", &Index::generatedAt),
      field("visibleWarpIDs", &Index::visibleWarpIDs),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedDestroyedManifestRecord> {
  using Record = TovrinWarpSharedDestroyedManifestRecord;
  static constexpr std::tuple fields{
      field("warpID", &Record::warpID),
      field("manifestKey", &Record::manifestKey),
      field("originalFolderPath", &Record::originalFolderPath),
      field("destroyedAt", &Record::destroyedAt),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedDestroyedManifestIndex> {
  using Index = TovrinWarpSharedDestroyedManifestIndex;
  static constexpr std::tuple fields{
      defaulted("version", &Index::version, [](const Index&) { return std::int64_t{1}; }),
      rule(
          "version", [](const Index& index) { return index.version == 1; },
          "Unsupported restored-Warp tombstone index version."),
      field("generatedAt", &Index::generatedAt),
      field("records", &Index::records),
  };
};

namespace {

/// The file at the top of a warped folder that names the Warp it belongs to.
struct WarpMarker {
  std::string warpID;
};

}  // namespace

template <>
struct RecordCoding<WarpMarker> {
  static constexpr std::tuple fields{field("warpID", &WarpMarker::warpID)};
};

namespace {

/// One set holds warpIDs and manifest keys alike: a text that stands for two things makes the index corrupt.
bool areConsistent(const std::vector<TovrinWarpSharedDestroyedManifestRecord>& records) {
  std::unordered_set<std::string> seen;
  return std::ranges::all_of(records, [&](const TovrinWarpSharedDestroyedManifestRecord& record) {
    return !record.warpID.empty() && isSafeRelativeObjectKey(record.manifestKey) && record.destroyedAt.isFinite() &&
           isCanonicalAbsolutePath(record.originalFolderPath) && seen.insert(canonicalForm(record.warpID)).second &&
           seen.insert(canonicalForm(record.manifestKey)).second;
  });
}

Result<Tombstones> decodeTombstones(const std::string& bytes) {
  TOVRIN_TRY(auto index, decodeJSON<TovrinWarpSharedDestroyedManifestIndex>(bytes));
  if (!areConsistent(index.records)) return failure(NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
  return Tombstones(std::move(index.records));
}

Result<std::unordered_set<std::string>> decodeVisibleWarpIDs(const std::string& bytes) {
  TOVRIN_TRY(const auto index, decodeJSON<TovrinWarpSharedManifestVisibilityIndex>(bytes));
  std::unordered_set<std::string> warpIDs;
  for (const std::string& warpID : index.visibleWarpIDs) warpIDs.insert(canonicalForm(warpID));
  return warpIDs;
}

}  // namespace

Tombstones::Tombstones(std::vector<TovrinWarpSharedDestroyedManifestRecord> records) : records_(std::move(records)) {
  for (const auto& record : records_) {
    warpIDs_.insert(canonicalForm(record.warpID));
    manifestKeys_.insert(canonicalForm(record.manifestKey));
  }
}

bool Tombstones::matches(std::string_view warpID, std::string_view manifestKey) const {
  return !records_.empty() &&
         (warpIDs_.contains(canonicalForm(warpID)) || manifestKeys_.contains(canonicalForm(manifestKey)));
}

std::shared_ptr<const std::unordered_set<std::string>> ManifestIndexes::visibleWarpIDs() {
  const auto directory = locateWarpDirectory(platform_.directories);
  if (!directory) return nullptr;
  auto warpIDs = visibility_.load(directory->visibilityIndex(), platform_.clock, decodeVisibleWarpIDs);
  return warpIDs ? *std::move(warpIDs) : nullptr;
}

Result<std::shared_ptr<const Tombstones>> ManifestIndexes::tombstones() {
  TOVRIN_TRY(const WarpDirectory directory, locateWarpDirectory(platform_.directories));
  auto tombstones = tombstones_.load(directory.destroyedManifestIndex(), platform_.clock, decodeTombstones);
  // Only a file that is surely not there stands for an empty list: on any doubt an edit must wait.
  if (!tombstones && tombstones.error().is(CocoaErrorCode::fileReadNoSuchFile))
    return std::make_shared<const Tombstones>();
  return tombstones;
}

bool ManifestIndexes::isManifestLive(const TovrinWarpSharedManifest& manifest) {
  const auto destroyed = tombstones();
  if (destroyed && (*destroyed)->matches(manifest.warpID, manifest.manifestKey)) return false;
  const auto marked = markedWarpID(manifest.originalFolderPath);
  return marked && canonicallyEqual(*marked, manifest.warpID);
}

Result<TovrinWarpSharedManifestVisibilityIndex> loadVisibilityIndex(const Directories& directories) {
  TOVRIN_TRY(const WarpDirectory directory, locateWarpDirectory(directories));
  TOVRIN_TRY(const FileContents contents, readWholeFile(directory.visibilityIndex()));
  return decodeJSON<TovrinWarpSharedManifestVisibilityIndex>(contents.bytes);
}

std::optional<std::string> markedWarpID(std::string_view originalFolderPath) {
  std::filesystem::path marker(originalFolderPath);
  marker /= ".tovrin-warped.json";
  const auto contents = readWholeFile(marker);
  if (!contents) return std::nullopt;
  auto decoded = decodeJSON<WarpMarker>(contents->bytes);
  if (!decoded) return std::nullopt;
  return std::move(decoded->warpID);
}

}  // namespace tovrin
