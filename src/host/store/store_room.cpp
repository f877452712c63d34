#include "host/store/store_room.h"

#include <fmt/format.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>

#include "foundation/readable_size.h"
#include "platform/posix/file_error.h"

namespace tovrin::host {

namespace {

/// Above every disk, and far enough from the end of the numbers to be added up.
constexpr std::int64_t kMostBytes = std::int64_t{1} << 60;

std::int64_t bounded(std::int64_t bytes) { return std::clamp<std::int64_t>(bytes, 0, kMostBytes); }

}  // namespace

std::int64_t StoreRoom::missing() const { return std::max(needed + used - limit, needed + kept - free); }

Result<StoreRoom> measureRoom(const std::filesystem::path& folder, const StoreLimits& limits, std::int64_t needed,
                              std::int64_t used, std::int64_t reserved) {
  struct statvfs disk;
  if (statvfs(folder.c_str(), &disk) != 0) return failure(fileError(errno, FileOperation::update, folder));
  const auto block = static_cast<double>(disk.f_frsize);
  return StoreRoom{.needed = bounded(needed),
                   .used = bounded(used),
                   .limit = bounded(limits.cacheBytes),
                   .free = static_cast<std::int64_t>(block * static_cast<double>(disk.f_bavail)) - bounded(reserved),
                   .kept = static_cast<std::int64_t>(block * static_cast<double>(disk.f_blocks) *
                                                     std::clamp(limits.keepFree, 0., 1.))};
}

NSError noRoomError(const StoreRoom& room, std::int64_t removable) {
  const auto size = [](std::int64_t bytes) { return readableSize(std::max<std::int64_t>(bytes, 0)); };
  if (room.needed > room.limit) {
    return NSError::posix(ENOSPC, fmt::format("A file of {} is too large to be opened here: all local copies together "
                                              "may take {}.",
                                              size(room.needed), size(room.limit)));
  }
  if (room.needed + room.used - removable > room.limit) {
    return NSError::posix(ENOSPC, fmt::format("There is no room for {}: local copies may take {}, and {} of that are "
                                              "taken by files that are open or being downloaded.",
                                              size(room.needed), size(room.limit), size(room.used - removable)));
  }
  return NSError::posix(ENOSPC, fmt::format("There is not enough free disk space: {} are needed, {} are free, and {} "
                                            "are to stay free. Removing local copies would free {}.",
                                            size(room.needed), size(room.free), size(room.kept), size(removable)));
}

}  // namespace tovrin::host
