#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/store/replica_store.h"
#include "host/store/store_contents.h"
#include "host/store/store_index.h"
#include "host/store/store_lock.h"
#include "host/store/store_places.h"

namespace tovrin::host {

/// The store over its three parts: files in folders, their index on disk, and the contents in memory that every
/// question is answered from. What comes is a file first, then a row, then known in memory; what goes is forgotten in
/// memory first. So a kill leaves at most a file or a row alone, which the next opening sweeps.
class LocalReplicaStore final : public ReplicaStore {
 public:
  LocalReplicaStore(StorePlaces places, const StoreLimits& limits, StoreLock processLock, StoreIndex::Loaded loaded);
  LocalReplicaStore(const LocalReplicaStore&) = delete;
  LocalReplicaStore& operator=(const LocalReplicaStore&) = delete;
  ~LocalReplicaStore() override;

  /// Evicts what is there beyond the limits.
  void trim();

  std::optional<Local> find(std::string_view identifier) const override;
  Result<std::unique_ptr<Reservation>> reserve(std::int64_t bytes) override;
  Result<std::shared_ptr<LocalFile>> adopt(const NSFileProviderItemIdentifier& identifier, const std::string& version,
                                           const std::filesystem::path& file,
                                           std::unique_ptr<Reservation> reservation) override;
  std::shared_ptr<LocalFile> openCopy(std::string_view identifier, std::string_view version) override;
  void dropCopy(std::string_view identifier) override;
  Evicted evict(std::string_view identifier) override;
  std::vector<NSFileProviderItemIdentifier> items() const override;

  Result<std::shared_ptr<LocalFile>> beginEdit(const NSFileProviderItemIdentifier& identifier,
                                               const std::string& baseVersion, const LocalFile* from) override;
  std::shared_ptr<LocalFile> openEdit(std::string_view identifier) override;
  Result<void> markEdit(std::string_view identifier, EditState state, bool durable) override;
  Result<void> turnEditIntoCopy(std::string_view identifier) override;
  void forgetEdit(std::string_view identifier) override;
  std::vector<Edit> edits() const override;

  StoreUsage usage() const override;
  std::int64_t roomForEdits() const override;

 private:
  struct NewCopy {
    CopyRecord record;
    std::shared_ptr<OpenFile> file;
  };

  /// Takes the file into the folder of copies; it is in no index yet. On failure it is where it was.
  Result<NewCopy> moveIn(const NSFileProviderItemIdentifier& identifier, const std::string& version,
                         const std::filesystem::path& file);
  /// Writes the new copy's row in place of the old copy's, and of the edit's when it was one.
  Result<void> recordCopy(CopyRecord& copy, std::optional<std::int64_t> formerEdit);
  enum class Before { copyOrNothing, edit };
  /// Makes a recorded copy the item's, in place of the copy, whose file goes, or of the edit that it was.
  void showCopy(NewCopy copy, Before before);
  /// The open file of a copy; null, and `isGone`, when it is not the file that was verified.
  std::shared_ptr<OpenFile> openVerified(StoredCopy& copy, bool& isGone);
  std::shared_ptr<OpenFile> openEditFile(StoredEdit& edit);

  /// Makes room and reserves it.
  Result<void> makeRoom(std::int64_t bytes);
  void removeCopies(const std::vector<CopyRecord>& copies);
  void removeEdits(const std::vector<EditRecord>& edits);
  void recordOpenings();
  void bringCopiesToDisk();

  Result<void> makeEditFile(const std::filesystem::path& beginning, const LocalFile* from);
  Result<std::shared_ptr<LocalFile>> recordEdit(EditRecord edit, const std::filesystem::path& beginning);
  Result<EditRecord> editRecord(std::string_view identifier) const;
  Result<void> setAside(std::string_view identifier);

  const StorePlaces places_;
  const StoreLimits limits_;
  const StoreLock processLock_;
  const std::shared_ptr<DiskUse> diskUse_ = std::make_shared<DiskUse>();

  std::mutex changeLock_;  ///< one change of the disk's part at a time
  StoreIndex index_;
  std::int64_t lastUntrusted_ = 0;  ///< row of the last copy that may not be on disk yet

  mutable std::mutex contentsLock_;  ///< held for moments; never while waiting for the disk to be written
  StoreContents contents_;
  std::unordered_map<std::int64_t, std::int64_t> openings_;  ///< by row, not in the index yet
};

}  // namespace tovrin::host
