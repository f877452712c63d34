#include "local/cached_items.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "local/cached_item_records.h"
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

std::vector<Record> keptRecords(const CachedItemRecords& records, Date now, const Record* leftOut = nullptr) {
  std::vector<Record> kept;
  kept.reserve(records.all().size() + 1);
  std::ranges::copy_if(records.all(), std::back_inserter(kept),
                       [&](const Record& record) { return &record != leftOut && isKept(record, now); });
  return kept;
}

}  // namespace

Result<std::shared_ptr<const CachedItemRecords>> CachedItemsJournal::records() {
  TOVRIN_TRY(const WarpDirectory warp, locateWarpDirectory(platform_.directories));
  const std::filesystem::path path = warp.cachedItems();
  auto decoded = file_.load(path, platform_.clock,
                            [&warp](const std::string& bytes) { return CachedItemRecords::decode(bytes, warp); });
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
  TOVRIN_TRY(const auto decoded, records());
  const Date now = platform_.clock.now();
  // Identities are unique in a valid file, so there is at most one.
  const Record* previous = decoded->find(warpID, relativePath);
  std::vector<Record> changed = keptRecords(*decoded, now, previous);
  changed.push_back(change(previous != nullptr && isKept(*previous, now) ? previous : nullptr));
  // A journal that names an edit, or stops naming one, must outlive a crash of the machine; one that only says what was
  // opened need not, and every open would pay for it.
  const bool wasProtected = previous != nullptr && isProtected(*previous);
  const bool concernsEdits = wasProtected || std::ranges::any_of(changed, isProtected);
  return save(std::move(changed), concernsEdits ? Durability::durable : Durability::ordinary);
}

bool CachedItemsJournal::hasPendingWriteback(std::string_view warpID, std::string_view relativePath) {
  const auto decoded = records();
  if (!decoded || !(*decoded)->hasPendingCopies()) return false;
  const Record* record = (*decoded)->find(warpID, relativePath);
  // "a" + ":" + "/b:/c" is also the identity of "/c" in a Warp "a:/b".
  return record != nullptr && hasPendingCopy(*record) && canonicallyEqual(record->relativePath, relativePath);
}

}  // namespace tovrin
