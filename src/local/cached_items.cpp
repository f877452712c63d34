#include "local/cached_items.h"

#include <exception>
#include <future>
#include <utility>

#include "foundation/caught.h"
#include "local/cached_item_records.h"
#include "local/cached_items_draft.h"
#include "local/cached_items_text.h"
#include "platform/text.h"
#include "shared/mutation_lock.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

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
  return CachedItemsDraft(*decoded, platform_.clock.now()).records();
}

Result<void> CachedItemsJournal::replaceRecord(std::string_view warpID, std::string_view relativePath,
                                               const CachedItemReplacement& replacement) {
  CachedItemChange change{warpID, relativePath, replacement, {}};
  std::future<Result<void>> outcome = change.outcome.get_future();
  waiting_.add(change);
  const auto hold = caught([&] { return acquireCachedItemsLock(platform_); });
  if (hold) {
    makeAll(waiting_.takeAll());
  } else if (waiting_.withdraw(change)) {
    return failure(hold.error());
  }
  return outcome.get();
}

void CachedItemsJournal::makeAll(std::span<CachedItemChange* const> changes) {
  const bool areMade = changes.size() > 1 && caught([&] { return make(changes); });
  for (CachedItemChange* const& change : changes) {
    // Whoever waits for it may be gone, and the change too, as soon as it is told.
    std::promise<Result<void>> outcome = std::move(change->outcome);
    try {
      outcome.set_value(areMade ? Result<void>() : make(std::span(&change, 1)));
    } catch (...) {
      outcome.set_exception(std::current_exception());
    }
  }
}

Result<void> CachedItemsJournal::make(std::span<CachedItemChange* const> changes) {
  TOVRIN_TRY(SharedRecords decoded, records());
  CachedItemsDraft draft(*decoded, platform_.clock.now());
  for (const CachedItemChange* change : changes) TOVRIN_CHECK(draft.make(*change));

  // A journal that names an edit, or stops naming one, must outlive a crash of the machine; one that only says what was
  // opened need not, and every open would pay for it.
  const Durability durability = draft.concernsEdits() ? Durability::durable : Durability::ordinary;
  if (recordsOfText_.lock() == decoded && draft.isInFileOrder())
    return saveDraft(std::move(decoded), draft, durability);
  return save(draft.records(), durability);
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
