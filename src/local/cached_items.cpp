#include "local/cached_items.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "local/cached_item_records.h"
#include "local/cached_items_text.h"
#include "platform/text.h"
#include "shared/mutation_lock.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

constexpr double kLongestAgeSeconds = 30.0 * 24 * 60 * 60;

bool isKept(const Record& record, Date now) {
  return isProtected(record) || record.cachedAt >= now + -kLongestAgeSeconds;
}

/// Whether no record is too old.
bool isKeptWhole(const CachedItemRecords& records, Date now) { return records.oldest() >= now + -kLongestAgeSeconds; }

bool isOf(const Record& record, std::string_view warpID, std::string_view relativePath) {
  return canonicallyEqual(recordIdentity(record.warpID, record.relativePath), recordIdentity(warpID, relativePath));
}

std::vector<Record> keptRecords(const CachedItemRecords& records, Date now,
                                std::optional<std::size_t> leftOut = std::nullopt) {
  std::vector<Record> kept;
  kept.reserve(records.count() + 1);
  for (std::size_t position = 0; position < records.count(); ++position) {
    if (position != leftOut && isKept(records.at(position), now)) kept.push_back(records.at(position));
  }
  return kept;
}

auto decodingIn(const WarpDirectory& warp) {
  return [&warp](const std::string& bytes) { return CachedItemRecords::decode(bytes, warp); };
}

}  // namespace

CachedItemsJournal::CachedItemsJournal(const Platform& platform)
    : platform_(platform), place_(locate(platform.directories)) {}

CachedItemsJournal::~CachedItemsJournal() = default;

Result<CachedItemsJournal::Place> CachedItemsJournal::locate(const Directories& directories) {
  TOVRIN_TRY(WarpDirectory warp, locateWarpDirectory(directories));
  std::filesystem::path file = warp.cachedItems();
  return Place{std::move(warp), std::move(file)};
}

Result<std::shared_ptr<const CachedItemRecords>> CachedItemsJournal::records() {
  if (!place_) return failure(place_.error());
  auto decoded = file_.load(place_->file, platform_.clock, decodingIn(place_->warp));
  // Only a journal that is surely not there is an empty one: on any doubt the edits that it may name must not be lost.
  const bool isMissing = !decoded && decoded.error().is(CocoaErrorCode::fileReadNoSuchFile);
  if (isMissing) return std::make_shared<const CachedItemRecords>();
  return decoded;
}

Result<std::vector<Record>> CachedItemsJournal::load() {
  TOVRIN_TRY(const auto decoded, records());
  return keptRecords(*decoded, platform_.clock.now());
}

Result<void> CachedItemsJournal::replaceRecord(std::string_view warpID, std::string_view relativePath,
                                               const std::function<Record(const Record* previous)>& change) {
  TOVRIN_TRY(const TovrinWarpSharedMutationLock hold, acquireCachedItemsLock(platform_));
  TOVRIN_TRY(SharedRecords decoded, records());
  const Date now = platform_.clock.now();
  // Identities are unique in a valid file, so there is at most one.
  const std::optional<std::size_t> position = decoded->positionOf(warpID, relativePath);
  const Record* previous = position && isKept(decoded->at(*position), now) ? &decoded->at(*position) : nullptr;
  Record record = change(previous);

  // A journal that names an edit, or stops naming one, must outlive a crash of the machine; one that only says what was
  // opened need not, and every open would pay for it.
  const bool concernsEdits = decoded->protectedCount() > 0 || isProtected(record);
  const Durability durability = concernsEdits ? Durability::durable : Durability::ordinary;
  if (recordsOfText_.lock() == decoded && isKeptWhole(*decoded, now) && !isProtected(record) &&
      isOf(record, warpID, relativePath)) {
    const bool isFull = decoded->count() == kMostCachedItemRecords;
    const std::optional<std::size_t> leftOut = position || !isFull ? position : decoded->protectedCount();
    if (leftOut != kMostCachedItemRecords)
      return saveReplaced(std::move(decoded), leftOut, std::move(record), durability);
  }
  std::vector<Record> changed = keptRecords(*decoded, now, position);
  changed.push_back(std::move(record));
  return save(std::move(changed), durability);
}

bool CachedItemsJournal::hasPendingWriteback(std::string_view warpID, std::string_view relativePath) {
  if (!place_) return false;
  const auto isPending = [&](const CachedItemRecords& records) {
    if (!records.hasPendingCopies()) return false;
    const Record* record = records.find(warpID, relativePath);
    // "a" + ":" + "/b:/c" is also the identity of "/c" in a Warp "a:/b".
    return record != nullptr && hasPendingCopy(*record) && canonicallyEqual(record->relativePath, relativePath);
  };
  return file_.ask(place_->file, platform_.clock, decodingIn(place_->warp), isPending).value_or(false);
}

}  // namespace tovrin
