#include "shared/warp_directory.h"

#include "foundation/path.h"
#include "shared/deployment.h"

namespace tovrin {

// Asked for every item of a listing, so the texts are joined: joining paths takes each apart into its components first.
Result<WarpDirectory> locateWarpDirectory(const Directories& directories) {
  if (const auto container = directories.appGroupContainer())
    return WarpDirectory(standardizedPath(container->native() + "/Warp"));
  if (const auto support = directories.applicationSupport())
    return WarpDirectory(standardizedPath((support->native() + "/").append(kApplicationSupportFolder).append("/Warp")));
  return failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile));
}

}  // namespace tovrin
