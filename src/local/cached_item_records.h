#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/result.h"
#include "local/cached_items.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// More are never written.
inline constexpr std::size_t kMostCachedItemRecords = 20000;

/// The records of one journal file, all of them valid, with a probe by identity. Copies share the records.
class CachedItemRecords {
 public:
  using Record = TovrinWarpSharedCachedItemRecord;

  CachedItemRecords() = default;

  /// The decoder's error for what is no journal of version 1; NSCocoaErrorDomain 259 when any record breaks a rule.
  static Result<CachedItemRecords> decode(std::string_view bytes, const WarpDirectory& warp);

  std::size_t count() const { return stored_.size(); }
  /// By position in the file.
  const Record& at(std::size_t position) const { return stored_[position]->record; }
  std::vector<Record> all() const;
  /// Whether the file holds these records, in their order.
  bool are(const std::vector<Record>& records) const;

  /// The record of this identity, or null.
  const Record* find(std::string_view warpID, std::string_view relativePath) const;
  std::optional<std::size_t> positionOf(std::string_view warpID, std::string_view relativePath) const;

  /// Whether a record's edit is kept in this very file.
  bool namesPendingCopy(std::string_view path) const;

  /// False spares the caller every other question about edits.
  bool hasPendingCopies() const { return pendingCopies_ > 0; }
  std::size_t protectedCount() const { return protectedCount_; }
  /// No record that is not protected was cached before this.
  Date oldest() const { return oldest_; }

  void erase(const std::set<std::size_t>& positions);
  /// At the end of the file. The record is valid, and the first of its identity.
  void append(Record record);

 private:
  struct Stored {
    Record record;
    std::uint64_t number = 0;  ///< rises from record to record, so that a record's position is found by it
  };
  using SharedStored = std::shared_ptr<const Stored>;

  /// False when a record of this identity is there already.
  bool add(Record record);

  std::vector<SharedStored> stored_;
  std::unordered_map<std::string, SharedStored> byIdentity_;  ///< by canonical form
  std::uint64_t nextNumber_ = 0;
  std::size_t pendingCopies_ = 0;
  std::size_t protectedCount_ = 0;
  Date oldest_{std::numeric_limits<double>::infinity()};
};

std::string encodeCachedItems(const TovrinWarpSharedCachedItemsState& state);
std::string encodeCachedItem(const TovrinWarpSharedCachedItemRecord& record);

/// The date as the file can hold it, and all of a record. False when it cannot.
bool cutToWholeSeconds(Date& date);
bool cutToWholeSeconds(TovrinWarpSharedCachedItemRecord& record);
/// What would not read back as it was written.
NSError cannotBeJournalled();

/// The record's edit waits for upload.
bool hasPendingCopy(const TovrinWarpSharedCachedItemRecord& record);
/// Never pruned and never pushed out: an edit or a recovery checkpoint depends on it.
bool isProtected(const TovrinWarpSharedCachedItemRecord& record);

}  // namespace tovrin
