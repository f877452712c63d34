#include "materialize/fetch_destination.h"

#include <optional>

#include "foundation/path.h"
#include "foundation/uuid.h"
#include "materialize/errors.h"
#include "platform/file_system.h"

namespace tovrin {
namespace {

/// File names hold 255 bytes; a UUID and the "." before the extension take 37 of them.
constexpr std::size_t kLongestExtension = 218;

}  // namespace

Result<std::filesystem::path> deliveryDirectory(const Directories& directories) {
  const std::optional<Result<std::filesystem::path>> temporary = directories.providerTemporaryDirectory();
  if (!temporary) return failure(notReachableError());
  if (!*temporary) return failure(temporary->error());
  return temporary->value() / "TovrinFileProvider";
}

Result<std::filesystem::path> chooseDestination(const Directories& directories, std::string_view relativePath) {
  TOVRIN_TRY(const std::filesystem::path directory, deliveryDirectory(directories));
  TOVRIN_CHECK(createDirectories(directory));
  return directory / (makeUUIDString() + "." + deliveredExtension(relativePath));
}

std::string deliveredExtension(std::string_view relativePath) {
  const std::string_view extension = pathExtension(relativePath);
  if (extension.empty() || extension.size() > kLongestExtension) return "warp";
  return std::string(extension);
}

}  // namespace tovrin
