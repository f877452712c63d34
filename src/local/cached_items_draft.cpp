#include "local/cached_items_draft.h"

#include <algorithm>
#include <utility>

#include "local/cached_items.h"
#include "platform/text.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

constexpr double kLongestAgeSeconds = 30.0 * 24 * 60 * 60;

bool isOf(const Record& record, const CachedItemChange& change) {
  return canonicallyEqual(recordIdentity(record.warpID, record.relativePath),
                          recordIdentity(change.warpID, change.relativePath));
}

}  // namespace

CachedItemsDraft::CachedItemsDraft(const CachedItemRecords& base, Date now) : base_(base) {
  const Date cutoff = now + -kLongestAgeSeconds;
  if (base.oldest() >= cutoff) return;
  for (std::size_t position = 0; position < base.count(); ++position) {
    const Record& record = base.at(position);
    if (!isProtected(record) && record.cachedAt < cutoff) leftOut_.insert(position);
  }
  isInFileOrder_ = leftOut_.empty();
}

Result<void> CachedItemsDraft::make(const CachedItemChange& change) {
  // Identities are unique in a valid file, so there is at most one.
  const auto position = base_.positionOf(change.warpID, change.relativePath);
  const bool isInBase = position && !leftOut_.contains(*position);
  const auto addedBefore = std::ranges::find_if(added_, [&](const Record& record) { return isOf(record, change); });
  const bool isAdded = addedBefore != added_.end();
  const Record* previous = isInBase ? &base_.at(*position) : isAdded ? &*addedBefore : nullptr;
  Record record = change.replacement(previous);
  if (!cutToWholeSeconds(record)) return failure(cannotBeJournalled());

  if (isInBase) {
    leftOut_.insert(*position);
  } else if (isAdded) {
    added_.erase(addedBefore);
  } else if (count() >= kMostCachedItemRecords) {
    leaveOutOldest();
  }
  isInFileOrder_ = isInFileOrder_ && !isProtected(record) && isOf(record, change);
  added_.push_back(std::move(record));
  return {};
}

void CachedItemsDraft::leaveOutOldest() {
  for (std::size_t position = 0; position < base_.count(); ++position) {
    if (!isProtected(base_.at(position)) && leftOut_.insert(position).second) return;
  }
}

std::vector<Record> CachedItemsDraft::records() const {
  std::vector<Record> records;
  records.reserve(count());
  for (std::size_t position = 0; position < base_.count(); ++position) {
    if (!leftOut_.contains(position)) records.push_back(base_.at(position));
  }
  records.insert(records.end(), added_.begin(), added_.end());
  return records;
}

bool CachedItemsDraft::concernsEdits() const {
  return base_.protectedCount() > 0 || std::ranges::any_of(added_, isProtected);
}

}  // namespace tovrin
