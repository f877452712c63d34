#include "cli/target.h"

#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/file_error.h"

namespace tovrin::cli {

namespace {

constexpr int kMostLinks = 40;

NSError notForLinksError() {
  return {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileWriteUnknown),
          "A symbolic link cannot be put into a device, pipe or socket."};
}

std::filesystem::path folderOf(const std::filesystem::path& path) {
  return path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
}

/// Whether the links that begin at `path` lead through the kernel's own folders, where they name open descriptors.
bool namesDescriptor(std::filesystem::path path) {
  std::error_code error;
  for (int hop = 0; hop < kMostLinks && std::filesystem::is_symlink(path, error); ++hop) {
    struct statfs folder{};
    if (statfs(folderOf(path).c_str(), &folder) == 0 && folder.f_type == PROC_SUPER_MAGIC) return true;
    path = folderOf(path) / std::filesystem::read_symlink(path, error);
  }
  return false;
}

Result<void> checkPlace(const std::filesystem::path& place) {
  std::error_code unreachable;
  if (std::filesystem::is_directory(std::filesystem::symlink_status(place, unreachable))) {
    return failure(fileError(EISDIR, FileOperation::create, place));
  }
  const std::filesystem::path folder = folderOf(place);
  if (!std::filesystem::is_directory(folder, unreachable)) {
    return failure(fileError(unreachable ? unreachable.value() : ENOTDIR, FileOperation::create, place));
  }
  if (access(folder.c_str(), W_OK | X_OK) != 0) return failure(fileError(errno, FileOperation::create, place));
  return {};
}

}  // namespace

Result<Target> resolveTarget(const std::filesystem::path& path, Delivery delivery) {
  struct stat status{};
  const bool exists = stat(path.c_str(), &status) == 0;
  const bool isStream = exists && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
  if (delivery == Delivery::symbolicLink) {
    if (isStream || namesDescriptor(path)) return failure(notForLinksError());
    TOVRIN_CHECK(checkPlace(path));
    return Target{path};
  }
  if (isStream) return Target{path, true};
  std::error_code error;
  const std::filesystem::path place = exists ? std::filesystem::canonical(path, error) : path;
  // A descriptor's name can lead to a file that has no name any more.
  if (error) return failure(fileError(error.value(), FileOperation::create, path));
  TOVRIN_CHECK(checkPlace(place));
  return Target{place};
}

}  // namespace tovrin::cli
