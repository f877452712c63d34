#pragma once

#include <cstdint>
#include <filesystem>

#include "foundation/result.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

/// Whether a file fits. In bytes of disk.
struct StoreRoom {
  std::int64_t needed = 0;
  std::int64_t used = 0;   ///< by copies, closed and open, and reserved for running downloads
  std::int64_t limit = 0;  ///< of `used`
  std::int64_t free = 0;   ///< on the disk, besides what is reserved
  std::int64_t kept = 0;   ///< of `free` for others

  /// What has to go before the file fits; 0 or less when it fits.
  std::int64_t missing() const;
};

/// `used` and `reserved` as the store knows them, the rest from the file system of `folder`.
Result<StoreRoom> measureRoom(const std::filesystem::path& folder, const StoreLimits& limits, std::int64_t needed,
                              std::int64_t used, std::int64_t reserved);

/// ENOSPC, with the numbers that say why. `removable` is what the removal of other copies would free.
NSError noRoomError(const StoreRoom& room, std::int64_t removable);

}  // namespace tovrin::host
