#include "host/store/store_places.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

namespace {

constexpr mode_t kPrivateFolderMode = 0700;
constexpr mode_t kPermissionBits = 07777;

bool isPrivateFolder(const std::filesystem::path& folder) {
  struct stat status;
  return ::stat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
         (status.st_mode & kPermissionBits) == kPrivateFolderMode;
}

Result<void> makePrivateFolder(const std::filesystem::path& folder) {
  if (isPrivateFolder(folder)) return {};
  TOVRIN_CHECK(createDirectories(folder));
  if (::chmod(folder.c_str(), kPrivateFolderMode) == 0) return {};
  return failure(fileError(errno, FileOperation::update, folder));
}

/// An edit is only as durable as the folders above it.
void synchronizeFoldersAbove(std::filesystem::path folder) {
  for (; folder.has_relative_path(); folder = folder.parent_path()) std::ignore = synchronizeFolderOf(folder);
}

}  // namespace

Result<void> StorePlaces::make() const {
  const bool isNew = !fileExists(edits());
  for (const auto& folder : {cache_, copies(), state_, edits(), interrupted(), beginnings()}) {
    TOVRIN_CHECK(makePrivateFolder(folder));
  }
  if (isNew) synchronizeFoldersAbove(edits());
  return {};
}

Result<void> StorePlaces::makeCopies() const { return makePrivateFolder(copies()); }

}  // namespace tovrin::host
