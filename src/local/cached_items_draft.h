#pragma once

#include <cstddef>
#include <set>
#include <vector>

#include "foundation/date.h"
#include "foundation/result.h"
#include "local/cached_item_changes.h"
#include "local/cached_item_records.h"

namespace tovrin {

/// What changes, one after the other, make of the records of a journal, which stay as they are.
class CachedItemsDraft {
 public:
  using Record = TovrinWarpSharedCachedItemRecord;

  /// Leaves out what is too old. The records must stay until the last change is made and `records` is asked.
  CachedItemsDraft(const CachedItemRecords& base, Date now);

  /// Puts the record that takes the place of another at the end, and leaves out the oldest ordinary one where it has no
  /// room. A record with a date that the file cannot hold is NSCocoaErrorDomain 512; what throws changes nothing.
  Result<void> make(const CachedItemChange& change);

  /// All that are left and then the added ones.
  std::vector<Record> records() const;
  /// Of those that were there, by position.
  const std::set<std::size_t>& leftOut() const { return leftOut_; }
  const std::vector<Record>& added() const { return added_; }

  /// Whether a file of these records is the old one without what is left out and with the added ones at its end.
  bool isInFileOrder() const { return isInFileOrder_ && count() <= kMostCachedItemRecords; }
  /// Whether an edit is named before or afterwards.
  bool concernsEdits() const;

 private:
  std::size_t count() const { return base_.count() - leftOut_.size() + added_.size(); }
  void leaveOutOldest();

  const CachedItemRecords& base_;
  std::set<std::size_t> leftOut_;
  std::vector<Record> added_;
  bool isInFileOrder_ = true;
};

}  // namespace tovrin
