#include "shared/manifest_store.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "foundation/caught.h"
#include "foundation/parallel.h"
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
bool isManifestOf(const TovrinWarpSharedManifest& manifest, std::string_view warpID) {
  return isSupportedVersion(manifest.version) && canonicallyEqual(manifest.warpID, warpID) &&
         !manifest.deviceID.empty() && isSafeRelativeObjectKey(manifest.manifestKey);
}

Result<SharedManifest> decode(const std::string& bytes) {
  TOVRIN_TRY(TovrinWarpSharedManifest decoded, decodeManifest(bytes));
  if (!hasOnlyAbsolutePaths(decoded)) return failure(corruptFile());
  return std::make_shared<const IndexedManifest>(std::move(decoded));
}

Result<SharedManifest> valueOf(const Result<std::shared_ptr<const SharedManifest>>& manifest) {
  if (!manifest) return failure(manifest.error());
  return **manifest;
}

}  // namespace

std::shared_ptr<ManifestStore::File> ManifestStore::fileNamed(const std::string& fileName) {
  const std::lock_guard hold(lock_);
  auto& file = files_[fileName];
  if (!file) file = std::make_shared<File>();
  return file;
}

void ManifestStore::forgetAllBut(const std::vector<std::string>& fileNames) {
  const std::unordered_set<std::string_view> there(fileNames.begin(), fileNames.end());
  const std::lock_guard hold(lock_);
  std::erase_if(files_, [&](const auto& file) { return !there.contains(file.first); });
}

std::vector<ManifestStore::MirroredFile> ManifestStore::readMirror() {
  const auto directory = locateWarpDirectory(platform_.directories);
  if (!directory) return {};
  const std::filesystem::path mirror = directory->manifestMirror();
  const auto names = manifestFileNames(mirror);
  if (!names) return {};
  forgetAllBut(*names);

  struct Changed {
    std::size_t position;
    std::filesystem::path path;
    std::shared_ptr<File> file;
  };
  std::vector<MirroredFile> files;
  std::vector<Changed> changed;
  files.reserve(names->size());
  for (const std::string& name : *names) {
    const std::shared_ptr<File> file = fileNamed(name);
    std::filesystem::path path = mirror / name;
    if (const auto unchanged = file->unchanged(path)) {
      files.push_back({name, valueOf(*unchanged)});
    } else {
      changed.push_back({files.size(), std::move(path), file});
      files.push_back({name, nullptr});
    }
  }
  inParallel(changed.size(), [&](std::size_t index) {
    const Changed& one = changed[index];
    files[one.position].manifest = caught([&] { return valueOf(one.file->load(one.path, platform_.clock, decode)); });
  });
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
  TOVRIN_TRY(const SharedManifest manifest, valueOf(fileNamed(fileName)->load(path, platform_.clock, decode)));
  if (!isManifestOf(manifest->manifest(), warpID)) return failure(corruptFile());
  return manifest;
}

}  // namespace tovrin
