#include "platform/posix/replacement.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include "foundation/uuid.h"

namespace tovrin {

namespace {

constexpr mode_t kNewFileMode = 0666;
constexpr mode_t kPermissionBits = 07777;
constexpr std::string_view kHiddenSuffix = ".partial";
constexpr std::size_t kCompareBytes = 64 << 10;

}  // namespace

std::filesystem::path hiddenNameBeside(const std::filesystem::path& path) {
  return path.parent_path() / ("." + makeUUIDString() + std::string(kHiddenSuffix));
}

bool isHiddenName(std::string_view name) {
  constexpr std::size_t kUUIDLength = 36;
  return name.size() == 1 + kUUIDLength + kHiddenSuffix.size() && name.starts_with('.') &&
         name.ends_with(kHiddenSuffix) &&
         name.substr(1, kUUIDLength).find_first_not_of("0123456789ABCDEF-") == std::string_view::npos;
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
  const bool isLonger = ::lseek(descriptor, 0, SEEK_END) != size;
  if (isLonger && ::ftruncate(descriptor, size) != 0) return errno;
  // A file system without modes refuses; the file then keeps the narrow mode that it was made with.
  if (oldMode) std::ignore = fchmod(descriptor, *oldMode);
  return 0;
}

int closeErrorOfWrites(int descriptor) {
  const int duplicate = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  return duplicate < 0 ? errno : closeDescriptor(duplicate);
}

int readBack(int descriptor, std::span<const std::string_view> pieces) {
  const auto buffer = std::make_unique_for_overwrite<char[]>(kCompareBytes);
  off_t offset = 0;
  const auto next = [&](std::size_t most) {
    ssize_t count = 0;
    do {
      count = ::pread(descriptor, buffer.get(), most, offset);
    } while (count < 0 && errno == EINTR);
    offset += std::max<ssize_t>(count, 0);
    return count;
  };
  for (std::string_view piece : pieces) {
    while (!piece.empty()) {
      const ssize_t count = next(std::min(kCompareBytes, piece.size()));
      if (count < 0) return errno;
      const auto read = static_cast<std::size_t>(count);
      if (read == 0 || std::memcmp(buffer.get(), piece.data(), read) != 0) return EIO;
      piece.remove_prefix(read);
    }
  }
  const ssize_t surplus = next(1);
  if (surplus < 0) return errno;
  return surplus == 0 ? 0 : EIO;
}

int replaceByRename(const std::filesystem::path& finished, const std::filesystem::path& path) {
  return ::rename(finished.c_str(), path.c_str()) == 0 ? 0 : errno;
}

}  // namespace tovrin
