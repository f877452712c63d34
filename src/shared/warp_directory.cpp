#include "shared/warp_directory.h"

#include "foundation/path.h"
#include "shared/deployment.h"

namespace tovrin {

Result<WarpDirectory> locateWarpDirectory(const Directories& directories) {
  if (const auto container = directories.appGroupContainer())
    return WarpDirectory(standardizedPath((*container / "Warp").native()));
  if (const auto support = directories.applicationSupport())
    return WarpDirectory(standardizedPath((*support / kApplicationSupportFolder / "Warp").native()));
  return failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile));
}

}  // namespace tovrin
