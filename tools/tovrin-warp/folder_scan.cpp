#include "tovrin-warp/folder_scan.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "foundation/encoding.h"
#include "foundation/path.h"
#include "platform/posix/timestamps.h"

namespace tovrin::warp {
namespace {

NSError scanError(const std::filesystem::path& path, int errnoValue) {
  return NSError::posix(errnoValue, fmt::format("\"{}\" could not be read: {}.", path.native(),
                                                std::error_code(errnoValue, std::generic_category()).message()));
}

std::optional<TovrinWarpSharedEntryKind> kindOf(std::uint16_t mode) {
  if (S_ISREG(mode)) return TovrinWarpSharedEntryKind::file;
  if (S_ISDIR(mode)) return TovrinWarpSharedEntryKind::directory;
  if (S_ISLNK(mode)) return TovrinWarpSharedEntryKind::symlink;
  return std::nullopt;
}

/// Nothing for what a Warp cannot hold.
Result<std::optional<ScannedObject>> scanObject(const std::filesystem::path& path, std::string relativePath) {
  struct statx attributes{};
  if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &attributes) != 0) {
    return failure(scanError(path, errno));
  }
  const auto kind = kindOf(attributes.stx_mode);
  if (!kind) return std::nullopt;

  ScannedObject object;
  object.relativePath = std::move(relativePath);
  object.kind = *kind;
  object.size = *kind == TovrinWarpSharedEntryKind::directory ? 0 : static_cast<std::int64_t>(attributes.stx_size);
  object.modificationTimeNanoseconds = nanosecondsOf(attributes.stx_mtime);
  object.statusChangeTimeNanoseconds = nanosecondsOf(attributes.stx_ctime);
  if (attributes.stx_mask & STATX_BTIME) object.birthTimeNanoseconds = nanosecondsOf(attributes.stx_btime);
  object.ownerUserID = attributes.stx_uid;
  object.ownerGroupID = attributes.stx_gid;
  object.posixPermissions = attributes.stx_mode & 07777;
  object.identity = {makedev(attributes.stx_dev_major, attributes.stx_dev_minor), attributes.stx_ino};
  object.hasOtherLinks = *kind == TovrinWarpSharedEntryKind::file && attributes.stx_nlink > 1;
  if (*kind == TovrinWarpSharedEntryKind::symlink) {
    std::error_code error;
    object.symlinkTarget = std::filesystem::read_symlink(path, error).native();
    if (error) return failure(scanError(path, error.value()));
    if (!isValidUTF8(object.symlinkTarget)) return failure(scanError(path, EILSEQ));
  }
  return object;
}

Result<std::vector<std::string>> sortedNames(const std::filesystem::path& folder) {
  std::error_code error;
  std::vector<std::string> names;
  std::filesystem::directory_iterator position(folder, error);
  for (; !error && position != std::filesystem::directory_iterator(); position.increment(error)) {
    names.push_back(position->path().filename().native());
  }
  if (error) return failure(scanError(folder, error.value()));
  std::ranges::sort(names);
  return names;
}

Result<void> scanInto(FolderScan& scan, const std::filesystem::path& folder, const std::string& relativeFolder) {
  TOVRIN_TRY(const std::vector<std::string> names, sortedNames(folder));
  for (const std::string& name : names) {
    if (relativeFolder.empty() && name == kMarkerName) continue;
    const std::filesystem::path path = folder / name;
    if (!isValidUTF8(name)) return failure(scanError(path, EILSEQ));
    const std::string relativePath = relativeFolder.empty() ? name : relativeFolder + "/" + name;
    TOVRIN_TRY(std::optional<ScannedObject> object, scanObject(path, relativePath));
    if (!object) {
      scan.skipped.push_back(relativePath);
      continue;
    }
    const bool isFolder = object->kind == TovrinWarpSharedEntryKind::directory;
    scan.objects.push_back(std::move(*object));
    if (isFolder) TOVRIN_CHECK(scanInto(scan, path, relativePath));
  }
  return {};
}

}  // namespace

std::string_view ScannedObject::name() const { return lastPathComponent(relativePath); }

Result<FolderScan> scanFolder(const std::filesystem::path& folder) {
  FolderScan scan;
  TOVRIN_TRY(std::optional<ScannedObject> root, scanObject(folder, ""));
  if (!root || root->kind != TovrinWarpSharedEntryKind::directory) return failure(scanError(folder, ENOTDIR));
  scan.objects.push_back(std::move(*root));
  TOVRIN_CHECK(scanInto(scan, folder, ""));
  return scan;
}

}  // namespace tovrin::warp
