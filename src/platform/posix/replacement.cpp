#include "platform/posix/replacement.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

#include "foundation/uuid.h"

namespace tovrin {

namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPermissionBits = 07777;

/// Some file systems report a failed write only when a descriptor of the file is closed; any will do.
int closeErrorOfWrites(int descriptor) {
  const int duplicate = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  return duplicate < 0 ? errno : closeDescriptor(duplicate);
}

}  // namespace

std::filesystem::path hiddenNameBeside(const std::filesystem::path& path) {
  return path.parent_path() / ("." + makeUUIDString() + ".partial");
}

std::optional<mode_t> modeOfRegularFile(const std::filesystem::path& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return status.st_mode & kPermissionBits;
}

FileDescriptor createReplacement(const std::filesystem::path& hiddenName, std::optional<mode_t> oldMode) {
  const mode_t mode = oldMode ? *oldMode & 0600 : kNewFileMode;
  return FileDescriptor::open(hiddenName, O_RDWR | O_CREAT | O_EXCL, mode);
}

int fillReplacement(int descriptor, std::span<const std::string_view> pieces, std::optional<mode_t> oldMode) {
  off_t size = 0;
  if (::lseek(descriptor, 0, SEEK_SET) != 0) return errno;
  for (const std::string_view piece : pieces) {
    if (const int error = writeAll(descriptor, piece); error != 0) return error;
    size += static_cast<off_t>(piece.size());
  }
  if (::ftruncate(descriptor, size) != 0) return errno;
  // A file system without modes refuses; the file then keeps the narrow mode that it was made with.
  if (oldMode) std::ignore = fchmod(descriptor, *oldMode);
  return closeErrorOfWrites(descriptor);
}

int replaceByRename(const std::filesystem::path& finished, const std::filesystem::path& path) {
  return ::rename(finished.c_str(), path.c_str()) == 0 ? 0 : errno;
}

}  // namespace tovrin
