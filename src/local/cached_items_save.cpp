#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "local/cached_item_records.h"
#include "local/cached_items.h"
#include "local/cached_items_draft.h"
#include "local/cached_items_text.h"
#include "shared/warp_directory.h"

namespace tovrin {
namespace {

using Record = TovrinWarpSharedCachedItemRecord;

/// Protected records first, then as many of the last ordinary ones as there is room for.
std::vector<Record> capped(std::vector<Record> records) {
  const auto ordinary = std::stable_partition(records.begin(), records.end(), isProtected);
  const auto protectedCount = static_cast<std::size_t>(ordinary - records.begin());
  const std::size_t room = protectedCount < kMostCachedItemRecords ? kMostCachedItemRecords - protectedCount : 0;
  const std::size_t ordinaryCount = records.size() - protectedCount;
  const std::size_t surplus = ordinaryCount > room ? ordinaryCount - room : 0;
  records.erase(ordinary, ordinary + static_cast<std::ptrdiff_t>(surplus));
  return records;
}

/// Both processes refuse a journal with one bad record as a whole, so what would not read back replaces nothing.
Result<CachedItemRecords> decodedAgain(std::string_view bytes, const std::vector<Record>& records,
                                       const WarpDirectory& warp) {
  Result<CachedItemRecords> decoded = CachedItemRecords::decode(bytes, warp);
  if (!decoded || !decoded->are(records)) return failure(cannotBeJournalled());
  return decoded;
}

}  // namespace

Result<void> CachedItemsJournal::save(std::vector<Record> records, Durability durability) {
  if (!place_) return failure(place_.error());
  text_.reset();
  recordsOfText_.reset();
  Date updatedAt = platform_.clock.now();
  records = capped(std::move(records));
  bool isWritable = cutToWholeSeconds(updatedAt);
  for (Record& record : records) isWritable = isWritable && cutToWholeSeconds(record);
  if (!isWritable) return failure(cannotBeJournalled());

  auto text = std::make_unique<CachedItemsText>(records);
  const auto pieces = text->pieces(updatedAt);
  std::string bytes;
  for (const std::string_view piece : pieces) bytes += piece;
  TOVRIN_TRY(CachedItemRecords decoded, decodedAgain(bytes, records, place_->warp));
  const auto write = [&] { return replaceFile(pieces, durability); };
  TOVRIN_TRY(recordsOfText_, file_.remember(place_->file, write, std::move(decoded)));
  text_ = std::move(text);
  return {};
}

Result<void> CachedItemsJournal::saveDraft(SharedRecords records, const CachedItemsDraft& draft,
                                           Durability durability) {
  if (!place_) return failure(place_.error());
  // Not kept unless all goes well.
  std::unique_ptr<CachedItemsText> text = std::move(text_);
  recordsOfText_.reset();
  Date updatedAt = platform_.clock.now();
  if (!cutToWholeSeconds(updatedAt)) return failure(cannotBeJournalled());

  // The others have been decoded from the very text that is written again.
  const std::string alone = encodeCachedItems({.updatedAt = updatedAt, .records = draft.added()});
  TOVRIN_CHECK(decodedAgain(alone, draft.added(), place_->warp));
  text->erase(draft.leftOut());
  for (const Record& record : draft.added()) text->append(record);
  const auto write = [&] { return replaceFile(text->pieces(updatedAt), durability); };
  const auto change = [&](CachedItemRecords& kept) {
    kept.erase(draft.leftOut());
    for (const Record& record : draft.added()) kept.append(record);
  };
  TOVRIN_TRY(const SharedRecords changed, file_.rewrite(place_->file, write, std::move(records), change));
  if (changed == nullptr) return {};
  recordsOfText_ = changed;
  text_ = std::move(text);
  return {};
}

Result<FileIdentity> CachedItemsJournal::replaceFile(std::span<const std::string_view> pieces, Durability durability) {
  const std::scoped_lock hold(replacing_);
  return onDisk_.replace(place_->file, pieces, durability);
}

void CachedItemsJournal::prepareNextSave() {
  const std::unique_lock hold(replacing_, std::try_to_lock);
  if (hold) onDisk_.emptySpare();
}

}  // namespace tovrin
