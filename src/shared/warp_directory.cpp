#include "shared/warp_directory.h"

namespace tovrin {

Result<WarpDirectory> locateWarpDirectory(const Directories& directories) {
  if (const auto container = directories.appGroupContainer())
    return WarpDirectory((*container / "Warp").lexically_normal());
  if (const auto support = directories.applicationSupport())
    return WarpDirectory((*support / "Tovrin" / "Warp").lexically_normal());
  return failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile));
}

}  // namespace tovrin
