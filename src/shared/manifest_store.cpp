#include "shared/manifest_store.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "foundation/path.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "shared/manifest_rules.h"

namespace tovrin {
namespace {

NSError corruptFile() { return NSError::cocoa(CocoaErrorCode::fileReadCorruptFile); }

/// The names of the mirror's manifests, in the directory's own order.
Result<std::vector<std::string>> manifestFileNames(const std::filesystem::path& mirror) {
  TOVRIN_TRY(std::vector<std::string> names, contentsOfDirectory(mirror));
  std::erase_if(names, [](const std::string& name) { return pathExtension(name) != "json"; });
  return names;
}

/// What every manifest that is loaded for one Warp is checked for once more, decoded or not.
bool isManifestOf(const IndexedManifest& indexed, std::string_view warpID) {
  const TovrinWarpSharedManifest& manifest = indexed.manifest();
  return isSupportedVersion(manifest.version) && canonicallyEqual(manifest.warpID, warpID) &&
         !manifest.deviceID.empty() && isSafeRelativeObjectKey(manifest.manifestKey) && indexed.hasOnlyAbsolutePaths();
}

}  // namespace

Result<SharedManifest> ManifestStore::decodedAt(const std::filesystem::path& path, const std::string& fileName) {
  std::shared_ptr<File> file;
  {
    const std::lock_guard hold(lock_);
    auto& kept = files_[fileName];
    if (!kept) kept = std::make_shared<File>();
    file = kept;
  }
  TOVRIN_TRY(const std::shared_ptr<const SharedManifest> manifest,
             file->load(path, platform_.clock, [](const std::string& bytes) -> Result<SharedManifest> {
               TOVRIN_TRY(TovrinWarpSharedManifest decoded, decodeManifest(bytes));
               return std::make_shared<const IndexedManifest>(std::move(decoded));
             }));
  return *manifest;
}

void ManifestStore::forgetAllBut(const std::vector<std::string>& fileNames) {
  const std::unordered_set<std::string_view> there(fileNames.begin(), fileNames.end());
  const std::lock_guard hold(lock_);
  std::erase_if(files_, [&](const auto& file) { return !there.contains(file.first); });
}

std::vector<ManifestStore::MirroredFile> ManifestStore::readMirror() {
  const auto directory = locateWarpDirectory(platform_.directories);
  if (!directory) return {};
  const auto names = manifestFileNames(directory->manifestMirror());
  if (!names) return {};
  forgetAllBut(*names);
  std::vector<MirroredFile> files;
  files.reserve(names->size());
  for (const std::string& name : *names) {
    auto manifest = decodedAt(directory->manifestMirror() / name, name);
    if (manifest && !(*manifest)->hasOnlyAbsolutePaths()) manifest = failure(corruptFile());
    files.push_back({name, std::move(manifest)});
  }
  return files;
}

std::vector<SharedManifest> ManifestStore::loadAll() {
  std::vector<SharedManifest> manifests;
  for (MirroredFile& file : readMirror())
    if (file.manifest) manifests.push_back(*std::move(file.manifest));
  std::ranges::stable_sort(manifests, [](const SharedManifest& a, const SharedManifest& b) {
    return a->manifest().createdAt > b->manifest().createdAt;
  });
  return manifests;
}

std::vector<ManifestStore::SkippedManifest> ManifestStore::skipped() {
  std::vector<SkippedManifest> skipped;
  for (const MirroredFile& file : readMirror())
    if (!file.manifest) skipped.push_back({file.name, file.manifest.error()});
  return skipped;
}

Result<SharedManifest> ManifestStore::load(std::string_view warpID) {
  TOVRIN_TRY(const WarpDirectory directory, locateWarpDirectory(platform_.directories));
  // Such a text names no file of the mirror, only a way out of it.
  if (warpID.find_first_of(std::string_view("/\0", 2)) != std::string_view::npos) return nullptr;
  const std::string fileName = std::string(warpID) + ".json";
  const std::filesystem::path path = directory.manifestMirror() / fileName;
  if (!fileExists(path)) return nullptr;
  TOVRIN_TRY(SharedManifest manifest, decodedAt(path, fileName));
  if (!isManifestOf(*manifest, warpID)) return failure(corruptFile());
  return manifest;
}

}  // namespace tovrin
