#include <algorithm>
#include <cmath>
#include <utility>

#include "local/cached_item_records.h"
#include "local/cached_items.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

constexpr std::size_t kMostRecords = 20000;

/// Protected records first, then as many of the last ordinary ones as there is room for.
std::vector<Record> capped(std::vector<Record> records) {
  const auto ordinary = std::stable_partition(records.begin(), records.end(), isProtected);
  const auto protectedCount = static_cast<std::size_t>(ordinary - records.begin());
  const std::size_t room = protectedCount < kMostRecords ? kMostRecords - protectedCount : 0;
  const std::size_t ordinaryCount = records.size() - protectedCount;
  const std::size_t surplus = ordinaryCount > room ? ordinaryCount - room : 0;
  records.erase(ordinary, ordinary + static_cast<std::ptrdiff_t>(surplus));
  return records;
}

/// The date as the file can hold it. False when it cannot.
bool cutToWholeSeconds(Date& date) {
  date.secondsSince1970 = std::floor(date.secondsSince1970);
  return date.isFinite();
}

bool cutToWholeSeconds(std::optional<Date>& date) { return !date || cutToWholeSeconds(*date); }

bool cutToWholeSeconds(Record& record) {
  return cutToWholeSeconds(record.cachedAt) && cutToWholeSeconds(record.modifiedAt) &&
         cutToWholeSeconds(record.recoveryCheckpointPendingSince);
}

NSError cannotBeJournalled() { return NSError::cocoa(CocoaErrorCode::fileWriteUnknown); }

}  // namespace

Result<void> CachedItemsJournal::save(std::vector<Record> records, Durability durability) {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(platform_.directories));
  TovrinWarpSharedCachedItemsState state;
  state.updatedAt = platform_.clock.now();
  state.records = capped(std::move(records));
  bool isWritable = cutToWholeSeconds(state.updatedAt);
  for (Record& record : state.records) isWritable = isWritable && cutToWholeSeconds(record);
  if (!isWritable) return failure(cannotBeJournalled());

  // Decoded before it replaces anything: both processes refuse a journal with one bad record as a whole.
  const std::string bytes = encodeCachedItems(state);
  Result<CachedItemRecords> decoded = CachedItemRecords::decode(bytes, warp);
  if (!decoded || decoded->all() != state.records) return failure(cannotBeJournalled());

  const std::filesystem::path path = warp.cachedItems();
  TOVRIN_CHECK(createDirectories(path.parent_path()));
  TOVRIN_CHECK(writeFileAtomically(path, bytes, durability));
  TOVRIN_TRY(const FileContents readBack, readWholeFile(path));
  if (readBack.bytes != bytes) return failure(cannotBeJournalled());
  file_.remember(path, readBack.identity, platform_.clock, *std::move(decoded));
  return {};
}

}  // namespace tovrin
