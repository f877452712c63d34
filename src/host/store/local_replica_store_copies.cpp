#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>
#include <utility>

#include "foundation/uuid.h"
#include "host/store/local_replica_store.h"

namespace tovrin::host {

namespace {

constexpr mode_t kPrivateFileMode = 0600;
/// A kill forgets no more openings than these, which only makes the order of eviction a little wrong.
constexpr std::size_t kMostUnrecordedOpenings = 1024;

/// What is not a regular file does not open: a link fails, a pipe does not block.
FileDescriptor openForReading(const std::filesystem::path& file) {
  return FileDescriptor::open(file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
}

}  // namespace

std::optional<ReplicaStore::Local> LocalReplicaStore::find(std::string_view identifier) const {
  const std::scoped_lock guard(contentsLock_);
  const StoredItem* item = contents_.find(identifier);
  if (item == nullptr) return std::nullopt;
  if (item->edit) {
    const EditRecord& edit = item->edit->record;
    return Local{.isCopy = false, .edit = edit.state, .version = edit.baseVersion, .file = places_.file(edit)};
  }
  if (!item->copy) return std::nullopt;
  const CopyRecord& copy = item->copy->record;
  return Local{.isCopy = true,
               .edit = std::nullopt,
               .version = copy.version,
               .file = places_.file(copy),
               .allocatedBytes = copy.allocatedBytes};
}

Result<std::shared_ptr<LocalFile>> LocalReplicaStore::adopt(const NSFileProviderItemIdentifier& identifier,
                                                            const std::string& version,
                                                            const std::filesystem::path& file,
                                                            std::unique_ptr<Reservation> reservation) {
  Result<NewCopy> copy = moveIn(identifier, version, file);
  if (!copy) {
    ::unlink(file.c_str());
    return failure(std::move(copy).error());
  }
  std::shared_ptr<LocalFile> opened = copy->file;
  {
    const std::scoped_lock guard(changeLock_);
    if (auto recorded = recordCopy(copy->record, std::nullopt); !recorded) {
      ::unlink(places_.file(copy->record).c_str());
      return failure(std::move(recorded).error());
    }
    recordOpenings();
    showCopy(std::move(*copy), Before::copyOrNothing);
    reservation.reset();
    std::ignore = makeRoom(0);  // it may take more than was reserved; it is open itself, so others go
  }
  return opened;
}

Result<LocalReplicaStore::NewCopy> LocalReplicaStore::moveIn(const NSFileProviderItemIdentifier& identifier,
                                                             const std::string& version,
                                                             const std::filesystem::path& file) {
  TOVRIN_CHECK(places_.makeCopies());
  CopyRecord record{.identifier = identifier, .version = version, .fileName = makeUUIDString()};
  const std::filesystem::path path = places_.file(record);
  TOVRIN_CHECK(moveItem(file, path));

  FileDescriptor descriptor = openForReading(path);
  const auto onDisk = descriptor.isOpen() ? fileOnDisk(descriptor.get()) : std::nullopt;
  if (!onDisk || fchmod(descriptor.get(), kPrivateFileMode) != 0) {
    const NSError error = fileError(errno, FileOperation::read, file);
    std::ignore = moveItem(path, file);
    return failure(error);
  }
  record.mark = onDisk->mark;
  record.allocatedBytes = onDisk->allocatedBytes;
  return NewCopy{std::move(record), std::make_shared<OpenFile>(std::move(descriptor), path, diskUse_)};
}

Result<void> LocalReplicaStore::recordCopy(CopyRecord& copy, std::optional<std::int64_t> formerEdit) {
  std::optional<std::int64_t> formerCopy;
  {
    const std::scoped_lock guard(contentsLock_);
    const StoredItem* item = contents_.find(copy.identifier);
    if (item != nullptr && item->copy) formerCopy = item->copy->record.row;
    copy.opened = contents_.nextOpening();
  }
  TOVRIN_TRY(Transaction transaction, index_.begin());
  if (formerEdit) TOVRIN_CHECK(index_.removeEdit(*formerEdit));
  if (formerCopy) TOVRIN_CHECK(index_.removeCopy(*formerCopy));
  TOVRIN_TRY(copy.row, index_.addCopy(copy));
  TOVRIN_CHECK(transaction.commit());
  lastUntrusted_ = copy.row;
  return {};
}

void LocalReplicaStore::showCopy(NewCopy copy, Before before) {
  std::optional<CopyRecord> former;
  {
    const std::scoped_lock guard(contentsLock_);
    const NSFileProviderItemIdentifier identifier = copy.record.identifier;
    StoredItem& item = contents_.item(identifier);
    const std::shared_ptr<OpenFile> writer = before == Before::edit ? item.edit->file.lock() : nullptr;
    if (item.copy) former = contents_.takeCopy(identifier);
    if (before == Before::edit) contents_.takeEdit(identifier);
    StoredCopy& stored = contents_.addCopy(std::move(copy.record));
    stored.reader = copy.file;
    stored.writer = writer;
  }
  if (former) ::unlink(places_.file(*former).c_str());
}

std::shared_ptr<LocalFile> LocalReplicaStore::openCopy(std::string_view identifier, std::string_view version) {
  std::vector<CopyRecord> gone;
  bool hasManyOpenings = false;
  std::shared_ptr<OpenFile> file;
  {
    const std::scoped_lock guard(contentsLock_);
    StoredItem* item = contents_.find(identifier);
    if (item == nullptr || item->isEdited() || !item->copy || item->copy->record.version != version) return nullptr;
    bool isGone = false;
    file = openVerified(*item->copy, isGone);
    if (isGone) gone.push_back(contents_.takeCopy(identifier));
    if (file) openings_[item->copy->record.row] = contents_.touch(*item->copy);
    hasManyOpenings = openings_.size() > kMostUnrecordedOpenings;
  }
  if (gone.empty() && !hasManyOpenings) return file;

  const std::scoped_lock guard(changeLock_);
  removeCopies(gone);
  recordOpenings();
  return file;
}

std::shared_ptr<OpenFile> LocalReplicaStore::openVerified(StoredCopy& copy, bool& isGone) {
  std::shared_ptr<OpenFile> file = copy.reader.lock();
  if (!file) {
    const std::filesystem::path path = places_.file(copy.record);
    FileDescriptor descriptor = openForReading(path);
    if (!descriptor.isOpen()) {
      isGone = errno == ENOENT || errno == ELOOP;  // any other failure may pass
      return nullptr;
    }
    file = std::make_shared<OpenFile>(std::move(descriptor), path, diskUse_);
  }
  const auto onDisk = fileOnDisk(file->descriptor());
  isGone = !onDisk || onDisk->mark != copy.record.mark;
  if (isGone) return nullptr;
  copy.reader = file;
  return file;
}

void LocalReplicaStore::dropCopy(std::string_view identifier) {
  const std::scoped_lock guard(changeLock_);
  std::vector<CopyRecord> dropped;
  {
    const std::scoped_lock contentsGuard(contentsLock_);
    const StoredItem* item = contents_.find(identifier);
    if (item != nullptr && item->copy) dropped.push_back(contents_.takeCopy(identifier));
  }
  removeCopies(dropped);
}

Evicted LocalReplicaStore::evict(std::string_view identifier) {
  const std::scoped_lock guard(changeLock_);
  std::vector<CopyRecord> evicted;
  {
    const std::scoped_lock contentsGuard(contentsLock_);
    const StoredItem* item = contents_.find(identifier);
    if (item != nullptr && item->isEdited()) return Evicted::edited;
    if (item == nullptr || !item->copy) return Evicted::notHere;
    if (item->copy->isOpen()) return Evicted::open;
    evicted.push_back(contents_.takeCopy(identifier));
  }
  removeCopies(evicted);
  return Evicted::dropped;
}

std::vector<NSFileProviderItemIdentifier> LocalReplicaStore::items() const {
  const std::scoped_lock guard(contentsLock_);
  return contents_.identifiers();
}

StoreUsage LocalReplicaStore::usage() const {
  const std::scoped_lock guard(contentsLock_);
  return {.cachedBytes = contents_.copyBytes() + diskUse_->unlinkedBytes, .cachedItems = contents_.copyCount()};
}

void LocalReplicaStore::removeCopies(const std::vector<CopyRecord>& copies) {
  if (copies.empty()) return;
  for (const CopyRecord& copy : copies) ::unlink(places_.file(copy).c_str());
  // Rows that stay behind have no files, which the next opening finds out.
  Result<Transaction> transaction = index_.begin();
  if (!transaction) return;
  for (const CopyRecord& copy : copies) std::ignore = index_.removeCopy(copy.row);
  std::ignore = transaction->commit();
}

void LocalReplicaStore::recordOpenings() {
  std::unordered_map<std::int64_t, std::int64_t> openings;
  {
    const std::scoped_lock guard(contentsLock_);
    openings.swap(openings_);
  }
  if (openings.empty()) return;
  Result<Transaction> transaction = index_.begin();
  if (!transaction) return;
  for (const auto& [row, opened] : openings) std::ignore = index_.recordOpening(row, opened);
  std::ignore = transaction->commit();
}

}  // namespace tovrin::host
