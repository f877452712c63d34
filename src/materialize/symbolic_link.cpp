#include "materialize/symbolic_link.h"

#include <string>

#include "materialize/errors.h"
#include "materialize/temporary_file.h"
#include "platform/file_system.h"

namespace tovrin {

Result<void> makeSymlink(const std::filesystem::path& destination, std::optional<std::string_view> target) {
  if (!target || target->empty()) return failure(notOnDemandError());
  // The system would take the part before the NUL for the whole target.
  if (target->contains('\0')) return failure(NSError::cocoa(CocoaErrorCode::fileReadInvalidFileName));
  TOVRIN_CHECK(createDirectories(destination.parent_path()));
  removeQuietly(destination);
  return createSymbolicLink(destination, std::string(*target));
}

}  // namespace tovrin
