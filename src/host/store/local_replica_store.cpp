#include "host/store/local_replica_store.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "host/store/store_folders.h"
#include "host/store/store_room.h"
#include "host/store/store_sweep.h"

namespace tovrin::host {

namespace {

class RoomReservation final : public Reservation {
 public:
  RoomReservation(std::shared_ptr<DiskUse> diskUse, std::int64_t bytes) : diskUse_(std::move(diskUse)), bytes_(bytes) {}
  RoomReservation(const RoomReservation&) = delete;
  RoomReservation& operator=(const RoomReservation&) = delete;
  ~RoomReservation() override { diskUse_->reservedBytes -= bytes_; }

 private:
  std::shared_ptr<DiskUse> diskUse_;
  std::int64_t bytes_;
};

}  // namespace

Result<std::unique_ptr<ReplicaStore>> ReplicaStore::open(const StoreFolders& folders, const StoreLimits& limits) {
  const StorePlaces places(folders);
  TOVRIN_CHECK(places.make());
  TOVRIN_TRY(StoreLock lock, StoreLock::take(places.lock()));
  TOVRIN_TRY(StoreIndex::Loaded loaded, StoreIndex::open(places.index()));
  TOVRIN_CHECK(sweepStore(places, loaded));
  explainStateFolder(folders);
  auto store = std::make_unique<LocalReplicaStore>(places, limits, std::move(lock), std::move(loaded));
  store->trim();
  return store;
}

LocalReplicaStore::LocalReplicaStore(StorePlaces places, const StoreLimits& limits, StoreLock processLock,
                                     StoreIndex::Loaded loaded)
    : places_(std::move(places)),
      limits_(limits),
      processLock_(std::move(processLock)),
      index_(std::move(loaded.index)),
      lastUntrusted_(loaded.lastUntrusted) {
  for (CopyRecord& copy : loaded.copies) contents_.addCopy(std::move(copy));
  for (EditRecord& edit : loaded.edits) contents_.addEdit(std::move(edit));
}

LocalReplicaStore::~LocalReplicaStore() {
  recordOpenings();
  bringCopiesToDisk();
}

/// Copies are not synced one by one, as that would cost more than fetching some of them again. Those of a run of the
/// machine in which the store was never closed are dropped after the next start of the machine.
void LocalReplicaStore::bringCopiesToDisk() {
  if (lastUntrusted_ == 0) return;
  const FileDescriptor folder = FileDescriptor::open(places_.copies(), O_RDONLY | O_DIRECTORY);
  if (folder.isOpen() && ::syncfs(folder.get()) == 0) std::ignore = index_.trustCopiesUpTo(lastUntrusted_);
}

Result<std::unique_ptr<Reservation>> LocalReplicaStore::reserve(std::int64_t bytes) {
  const std::int64_t wanted = std::max<std::int64_t>(bytes, 0);
  const std::scoped_lock guard(changeLock_);
  TOVRIN_CHECK(makeRoom(wanted));
  return std::make_unique<RoomReservation>(diskUse_, wanted);
}

void LocalReplicaStore::trim() {
  const std::scoped_lock guard(changeLock_);
  std::ignore = makeRoom(0);
}

Result<void> LocalReplicaStore::makeRoom(std::int64_t bytes) {
  TOVRIN_CHECK(places_.makeCopies());
  std::vector<CopyRecord> evicted;
  {
    const std::scoped_lock guard(contentsLock_);
    const std::int64_t reserved = diskUse_->reservedBytes;
    const std::int64_t used = contents_.copyBytes() + diskUse_->unlinkedBytes + reserved;
    TOVRIN_TRY(const StoreRoom room, measureRoom(places_.copies(), limits_, bytes, used, reserved));
    std::optional<std::vector<CopyRecord>> oldest;
    if (room.needed <= room.limit) oldest = contents_.takeOldest(room.missing());
    if (!oldest) return failure(noRoomError(room, contents_.idleBytes()));
    evicted = std::move(*oldest);
    diskUse_->reservedBytes += bytes;
  }
  removeCopies(evicted);
  return {};
}

}  // namespace tovrin::host
