#include "cli/shared_state.h"

#include "platform/file_system.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

Result<TovrinWarpSharedMaterializationState> loadMaterializationState(const Platform& platform) {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(platform.directories));
  TOVRIN_TRY(const FileContents contents, readWholeFile(warp.materializationState()));
  return decodeMaterializationState(contents.bytes);
}

bool isMissingFile(const NSError& error) {
  return error.is(CocoaErrorCode::fileReadNoSuchFile) || error.is(CocoaErrorCode::fileNoSuchFile);
}

}  // namespace tovrin::cli
