#include "host/store/store_folders.h"

#include <fmt/format.h>

#include <span>
#include <tuple>

#include "host/domain_key.h"
#include "platform/file_system.h"
#include "shared/warp_directory.h"

namespace tovrin::host {

Result<StoreFolders> storeFolders(const Directories& directories) {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(directories));
  const auto caches = directories.providerTemporaryDirectory();
  const auto state = directories.localState();
  if (!caches || !state) return failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile));
  if (!*caches) return failure(caches->error());
  const std::string key = domainKey(warp.path());
  return StoreFolders{.cache = **caches / "replica" / key,
                      .state = *state / "tovrin" / key,
                      .belongsTo = warp.path().parent_path().string()};
}

void explainStateFolder(const StoreFolders& folders) {
  if (folders.belongsTo.empty()) return;
  const std::string text = fmt::format(
      "Kept by tovrin for the files of the container\n{}\n\n"
      "edits        edits that are saved and not uploaded yet; they exist nowhere else\n"
      "interrupted  edits that were not saved when tovrin ended: take what you need and remove the files\n"
      "index.sqlite what they belong to\n\n"
      "Files that can be fetched again are in\n{}\n",
      folders.belongsTo, folders.cache.string());
  const std::filesystem::path file = folders.state / "ABOUT";
  const auto before = readWholeFile(file);
  if (before && before->bytes == text) return;
  if (Result<FileHandle> about = FileHandle::create(file)) std::ignore = about->write(std::as_bytes(std::span(text)));
}

}  // namespace tovrin::host
