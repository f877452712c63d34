#include "host/mounting/mount_point.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <tuple>

#include "host/mounting/fusermount.h"

namespace tovrin::host {

namespace {

using std::filesystem::path;

struct MemoryDeleter {
  void operator()(char* memory) const { std::free(memory); }
};
struct ListingDeleter {
  void operator()(DIR* listing) const { closedir(listing); }
};

Result<path> realPath(const path& name) {
  const std::unique_ptr<char, MemoryDeleter> real(realpath(name.c_str(), nullptr));
  if (real == nullptr) return failure(NSError::posix(errno));
  return path(real.get());
}

Result<bool> isEmpty(int folder) {
  const std::unique_ptr<DIR, ListingDeleter> listing(fdopendir(dup(folder)));
  if (listing == nullptr) return failure(NSError::posix(errno));
  while (const dirent* entry = readdir(listing.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") return false;
  }
  return true;
}

NSError somethingIsThere(const MountedFileSystem& mounted) {
  if (isTovrin(mounted)) return NSError::posix(EBUSY, "A Tovrin mount is here already.");
  return NSError::posix(EBUSY, fmt::format("A file system of type {} is mounted here already.", mounted.type));
}

/// Where systemd waits for a visitor to start the mount: looking into the folder would wait for this very mount.
bool startsTheMountItself(const MountedFileSystem& mounted) { return mounted.type == "autofs"; }

}  // namespace

Result<path> resolveMountpoint(const path& name) {
  if (auto real = realPath(name)) return real;
  std::error_code error;
  path absolute = std::filesystem::absolute(name, error);
  if (error) return failure(NSError::posix(error.value()));
  if (!absolute.has_filename()) absolute = absolute.parent_path();
  TOVRIN_TRY(const path folder, realPath(absolute.parent_path()));
  return folder / absolute.filename();
}

Result<MountPoint> MountPoint::prepare(const std::filesystem::path& name) {
  TOVRIN_TRY(std::filesystem::path resolved, resolveMountpoint(name));
  MountPoint point(std::move(resolved));
  TOVRIN_TRY(const auto mounted, point.takeOffDeadMounts());
  if (mounted && startsTheMountItself(*mounted)) return point;
  if (mounted) return failure(somethingIsThere(*mounted));
  if (access(point.path_.c_str(), F_OK) != 0 && errno == ENOENT) TOVRIN_CHECK(point.makeFolder());
  TOVRIN_CHECK(point.openFolder());
  return point;
}

Result<std::optional<MountedFileSystem>> MountPoint::takeOffDeadMounts() {
  while (true) {
    TOVRIN_TRY(const std::vector<MountedFileSystem> all, mountedFileSystems());
    auto mounted = mountedAt(all, path_);
    if (!mounted || !isTovrin(*mounted) || !isDead(path_)) return mounted;
    TOVRIN_CHECK(takeOffMountpoint(path_, UnmountMode::lazily));
    remarks_.emplace_back("Took off an earlier mount whose process had died.");
  }
}

Result<void> MountPoint::makeFolder() {
  // An ordinary user may only mount where that user can write; `seal` takes the right off.
  if (mkdir(path_.c_str(), S_IRWXU) != 0) return failure(NSError::posix(errno));
  isMade_ = true;
  sealedMode_ = S_IRUSR | S_IXUSR;
  remarks_.push_back("Made this folder; it will be removed after unmounting.");
  return {};
}

Result<void> MountPoint::openFolder() {
  folder_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_ < 0) return failure(NSError::posix(errno));
  TOVRIN_TRY(const bool empty, isEmpty(folder_));
  if (!empty) {
    return failure(NSError::posix(ENOTEMPTY, "The folder is not empty; a mount would hide what is in it."));
  }
  struct stat status{};
  if (isMade_ || fstat(folder_, &status) != 0) return {};
  // One that a process left behind which was killed, or that its owner protected likewise.
  sealedMode_ = status.st_mode & ALLPERMS;
  if ((status.st_mode & S_IWUSR) == 0 && status.st_uid == geteuid()) fchmod(folder_, sealedMode_ | S_IWUSR);
  if (faccessat(folder_, ".", W_OK, 0) == 0) return {};
  return failure(
      NSError::posix(EACCES, "This user may not write to the folder, and ordinary users mount only where they may."));
}

bool MountPoint::hasVanished() const { return access(path_.c_str(), F_OK) != 0 && errno == ENOENT; }

void MountPoint::seal() {
  if (folder_ < 0) return;
  device_ = deviceMountedAt(path_);
  fchmod(folder_, sealedMode_);
  close(std::exchange(folder_, -1));
}

void MountPoint::takeOff() const {
  const bool isSealed = folder_ < 0;
  if (!isSealed || deviceMountedAt(path_) == device_) std::ignore = takeOffMountpoint(path_, UnmountMode::lazily);
}

void MountPoint::removeFolder() {
  if (std::exchange(isMade_, false)) rmdir(path_.c_str());
}

MountPoint::MountPoint(MountPoint&& other) noexcept
    : path_(std::move(other.path_)),
      remarks_(std::move(other.remarks_)),
      isMade_(std::exchange(other.isMade_, false)),
      folder_(std::exchange(other.folder_, -1)),
      sealedMode_(other.sealedMode_),
      device_(other.device_) {}

MountPoint::~MountPoint() {
  seal();
  removeFolder();
}

}  // namespace tovrin::host
