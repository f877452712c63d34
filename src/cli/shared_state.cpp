#include "cli/shared_state.h"

#include <fmt/core.h>

#include "foundation/utf8.h"
#include "local/cached_items.h"
#include "materialize/connection_snapshot.h"
#include "platform/file_system.h"
#include "shared/manifest_indexes.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

Result<TovrinWarpSharedMaterializationState> loadMaterializationState(const Platform& platform) {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(platform.directories));
  TOVRIN_TRY(const FileContents contents, readWholeFile(warp.materializationState()));
  return decodeMaterializationState(contents.bytes);
}

std::string_view sharedFileBehind(const NSError& error, const Platform& platform) {
  const auto failsAlike = [&](const auto& loaded) { return !loaded && loaded.error() == error; };
  if (const auto warp = locateWarpDirectory(platform.directories);
      warp && failsAlike(readConnectionSnapshot(warp->path()))) {
    return "renterd-connection.json";
  }
  if (failsAlike(CachedItemsJournal(platform).load())) return "file-provider-cached-items.json";
  if (failsAlike(ManifestIndexes(platform).tombstones())) return "destroyed-manifest-index.json";
  return {};
}

void hintAtMissingContainer(const Directories& directories) {
  const auto warp = locateWarpDirectory(directories);
  std::error_code ignored;
  if (!warp || std::filesystem::is_directory(warp->path(), ignored)) return;
  fmt::print(stderr, "tovrin: {} has no Warp directory: nothing is shared there yet\n",
             printable(warp->path().parent_path().string()));
}

bool isMissingFile(const NSError& error) {
  return error.is(CocoaErrorCode::fileReadNoSuchFile) || error.is(CocoaErrorCode::fileNoSuchFile);
}

}  // namespace tovrin::cli
