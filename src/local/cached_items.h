#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/result.h"
#include "local/cached_item_changes.h"
#include "platform/alternating_file.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "shared/decoded_file.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// One entry that was materialized here, and the edit of it that waits for upload. Identity: warpID + ":" +
/// relativePath, compared by canonical equivalence.
struct TovrinWarpSharedCachedItemRecord {
  std::string warpID;
  std::string relativePath;
  std::int64_t size = 0;
  Date cachedAt;
  std::optional<std::int64_t> materializedModificationTimeNanoseconds;
  std::optional<std::int64_t> materializedStatusChangeTimeNanoseconds;
  std::optional<std::int64_t> materializedBirthTimeNanoseconds;
  std::optional<Date> modifiedAt;
  std::optional<std::string> pendingWritebackFilePath;
  std::optional<std::int64_t> pendingWritebackSize;
  std::optional<std::string> pendingWritebackChecksumSHA256;
  std::optional<Date> recoveryCheckpointPendingSince;

  friend bool operator==(const TovrinWarpSharedCachedItemRecord&, const TovrinWarpSharedCachedItemRecord&) = default;
};

struct TovrinWarpSharedCachedItemsState {
  std::int64_t version = 1;
  Date updatedAt;
  std::vector<TovrinWarpSharedCachedItemRecord> records;
};

std::string recordIdentity(std::string_view warpID, std::string_view relativePath);

class CachedItemRecords;
class CachedItemsDraft;
class CachedItemsText;

/// The journal of cached items, a file that the main application reads and changes too. Loads look at the file every
/// time and decode it again only when it changed. Thread-safe; whoever changes it holds the cached-items lock from load
/// to save.
class CachedItemsJournal {
 public:
  explicit CachedItemsJournal(const Platform& platform);
  ~CachedItemsJournal();

  /// The valid records younger than 30 days, or protected by an edit or a recovery checkpoint, in file order. One bad
  /// record is NSCocoaErrorDomain 259 for the whole file; no file is an empty list.
  Result<std::vector<TovrinWarpSharedCachedItemRecord>> load();

  /// What the file holds, too old records included, without a copy. Fails as `load` does.
  Result<std::shared_ptr<const CachedItemRecords>> records();

  /// Caps at 20,000 records (protected ones first), writes atomically, reads back and compares. Dates lose their
  /// fraction of a second. Records that would not read back as they are given are NSCocoaErrorDomain 512 and leave the
  /// file untouched; on any other failure the file is the previous one, or, when only the reading back failed, the new
  /// one.
  Result<void> save(std::vector<TovrinWarpSharedCachedItemRecord> records, Durability durability = Durability::durable);

  /// Takes the cached-items lock, loads, replaces every record of this identity by `replacement(the first of them, if
  /// any)` at the end of the list, and saves. Threads that wait for the lock at the same time share one save. What
  /// fails for several is done for one after the other, each with its own outcome; so `replacement`, which any of the
  /// waiting threads may call, must say the same when it is asked again. Whose change another has begun to make waits
  /// for that, however long it takes, even when he did not get the lock in time.
  Result<void> replaceRecord(std::string_view warpID, std::string_view relativePath,
                             const CachedItemReplacement& replacement);

  /// Does what the next save would begin with: for when nobody waits for a save.
  void prepareNextSave();

  /// Whether a record of this item names a pending copy; false when the journal cannot be read. Costs a look at the
  /// file, and a hash probe when any edit waits; takes no lock that another process could hold.
  bool hasPendingWriteback(std::string_view warpID, std::string_view relativePath);

 private:
  using SharedRecords = std::shared_ptr<const CachedItemRecords>;

  /// By whoever holds the cached-items lock.
  void makeAll(std::span<CachedItemChange* const> changes);
  Result<void> make(std::span<CachedItemChange* const> changes);
  Result<void> saveDraft(SharedRecords records, const CachedItemsDraft& draft, Durability durability);

  /// The path is kept: putting it together takes longer than looking at the file.
  struct Place {
    WarpDirectory warp;
    std::filesystem::path file;
  };

  static Result<Place> locate(const Directories& directories);
  Result<FileIdentity> replaceFile(std::span<const std::string_view> pieces, Durability durability);

  Platform platform_;
  const Result<Place> place_;
  DecodedFile<CachedItemRecords> file_;
  CachedItemChanges waiting_;

  std::mutex replacing_;  ///< held while `onDisk_` is used
  AlternatingFile onDisk_;

  // Whoever changes the journal only.
  std::unique_ptr<CachedItemsText> text_;                 ///< of the journal that was written here last
  std::weak_ptr<const CachedItemRecords> recordsOfText_;  ///< gone when the file has changed since
};

}  // namespace tovrin
