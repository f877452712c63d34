#include "local/cached_item_records.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>
#include <utility>

#include "foundation/json/coding.h"
#include "foundation/json/decoder.h"
#include "foundation/json/encoder.h"
#include "foundation/path.h"
#include "platform/text.h"
#include "shared/manifest_rules.h"

namespace tovrin {

template <>
struct RecordCoding<TovrinWarpSharedCachedItemRecord> {
  using Record = TovrinWarpSharedCachedItemRecord;
  static constexpr std::tuple fields{
      field("warpID", &Record::warpID),
      field("relativePath", &Record::relativePath),
      field("size", &Record::size),
      field("cachedAt", &Record::cachedAt),
      field("materializedModificationTimeNanoseconds", &Record::materializedModificationTimeNanoseconds),
      field("materializedStatusChangeTimeNanoseconds", &Record::materializedStatusChangeTimeNanoseconds),
      field("materializedBirthTimeNanoseconds", &Record::materializedBirthTimeNanoseconds),
      field("modifiedAt", &Record::modifiedAt),
      field("pendingWritebackFilePath", &Record::pendingWritebackFilePath),
      field("pendingWritebackSize", &Record::pendingWritebackSize),
      field("pendingWritebackChecksumSHA256", &Record::pendingWritebackChecksumSHA256),
      field("recoveryCheckpointPendingSince", &Record::recoveryCheckpointPendingSince),
  };
};

template <>
struct RecordCoding<TovrinWarpSharedCachedItemsState> {
  using State = TovrinWarpSharedCachedItemsState;
  static constexpr std::tuple fields{
      defaulted("version", &State::version, [](const State&) { return std::int64_t{1}; }),
      rule(
          "version", [](const State& state) { return state.version == 1; },
          "Unsupported Warp cached-item journal version."),
      field("updatedAt", &State::updatedAt),
      field("records", &State::records),
  };
};

namespace {

bool isFiniteIfPresent(const std::optional<Date>& date) { return !date || date->isFinite(); }

bool cutToWholeSecondsIfPresent(std::optional<Date>& date) { return !date || cutToWholeSeconds(*date); }

/// What the path of every pending copy begins with.
std::string pendingCopyPrefix(const WarpDirectory& warp) {
  std::string prefix = standardizedPath(warp.pendingWriteback().string());
  if (!prefix.ends_with('/')) prefix += '/';
  return prefix;
}

bool hasValidOwnFields(const TovrinWarpSharedCachedItemRecord& record) {
  return !record.warpID.empty() && isCanonicalAbsolutePath(record.relativePath) && record.size >= 0 &&
         record.cachedAt.isFinite() && isFiniteIfPresent(record.modifiedAt) &&
         isFiniteIfPresent(record.recoveryCheckpointPendingSince);
}

bool hasValidPendingFields(const TovrinWarpSharedCachedItemRecord& record, std::string_view prefix) {
  const auto& path = record.pendingWritebackFilePath;
  const auto& size = record.pendingWritebackSize;
  const auto& checksum = record.pendingWritebackChecksumSHA256;
  if (!path && !size && !checksum) return true;
  return path && size && checksum && hasCanonicalPrefix(standardizedPath(*path), prefix) && *size >= 0 &&
         isSHA256Hex(*checksum);
}

}  // namespace

std::string recordIdentity(std::string_view warpID, std::string_view relativePath) {
  std::string identity;
  identity.reserve(warpID.size() + 1 + relativePath.size());
  return identity.append(warpID).append(":").append(relativePath);
}

bool hasPendingCopy(const TovrinWarpSharedCachedItemRecord& record) {
  return record.pendingWritebackFilePath && !record.pendingWritebackFilePath->empty();
}

bool isProtected(const TovrinWarpSharedCachedItemRecord& record) {
  return hasPendingCopy(record) || record.recoveryCheckpointPendingSince;
}

Result<CachedItemRecords> CachedItemRecords::decode(std::string_view bytes, const WarpDirectory& warp) {
  TOVRIN_TRY(TovrinWarpSharedCachedItemsState state, decodeJSON<TovrinWarpSharedCachedItemsState>(bytes));
  const std::string prefix = pendingCopyPrefix(warp);
  CachedItemRecords decoded;
  decoded.stored_.reserve(state.records.size());
  decoded.byIdentity_.reserve(state.records.size());
  for (Record& record : state.records) {
    const bool isValid = hasValidOwnFields(record) && hasValidPendingFields(record, prefix);
    if (!isValid || !decoded.add(std::move(record)))
      return failure(NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
  }
  return decoded;
}

bool CachedItemRecords::add(Record record) {
  const auto added = std::make_shared<const Stored>(Stored{std::move(record), nextNumber_});
  const Record& kept = added->record;
  if (!byIdentity_.try_emplace(canonicalForm(recordIdentity(kept.warpID, kept.relativePath)), added).second)
    return false;
  stored_.push_back(added);
  ++nextNumber_;
  if (hasPendingCopy(kept)) ++pendingCopies_;
  if (isProtected(kept)) {
    ++protectedCount_;
  } else {
    oldest_ = std::min(oldest_, kept.cachedAt);
  }
  return true;
}

void CachedItemRecords::append(Record record) { add(std::move(record)); }

void CachedItemRecords::erase(const std::set<std::size_t>& positions) {
  for (const std::size_t position : positions) {
    const Record& record = at(position);
    if (hasPendingCopy(record)) --pendingCopies_;
    if (isProtected(record)) --protectedCount_;
    byIdentity_.erase(canonicalForm(recordIdentity(record.warpID, record.relativePath)));
    stored_[position].reset();
  }
  std::erase(stored_, nullptr);
}

std::vector<CachedItemRecords::Record> CachedItemRecords::all() const {
  std::vector<Record> records;
  records.reserve(stored_.size());
  for (const SharedStored& stored : stored_) records.push_back(stored->record);
  return records;
}

bool CachedItemRecords::are(const std::vector<Record>& records) const {
  return std::ranges::equal(stored_, records, {},
                            [](const SharedStored& stored) -> const Record& { return stored->record; });
}

const CachedItemRecords::Record* CachedItemRecords::find(std::string_view warpID, std::string_view relativePath) const {
  const auto found = byIdentity_.find(canonicalForm(recordIdentity(warpID, relativePath)));
  return found == byIdentity_.end() ? nullptr : &found->second->record;
}

std::optional<std::size_t> CachedItemRecords::positionOf(std::string_view warpID, std::string_view relativePath) const {
  const auto found = byIdentity_.find(canonicalForm(recordIdentity(warpID, relativePath)));
  if (found == byIdentity_.end()) return std::nullopt;
  const auto stored =
      std::ranges::lower_bound(stored_, found->second->number, {}, [](const SharedStored& one) { return one->number; });
  return static_cast<std::size_t>(stored - stored_.begin());
}

bool CachedItemRecords::namesPendingCopy(std::string_view path) const {
  return std::ranges::any_of(stored_, [path](const SharedStored& stored) {
    return stored->record.pendingWritebackFilePath && *stored->record.pendingWritebackFilePath == path;
  });
}

bool cutToWholeSeconds(Date& date) {
  date.secondsSince1970 = std::floor(date.secondsSince1970);
  return date.isFinite();
}

bool cutToWholeSeconds(TovrinWarpSharedCachedItemRecord& record) {
  return cutToWholeSeconds(record.cachedAt) && cutToWholeSecondsIfPresent(record.modifiedAt) &&
         cutToWholeSecondsIfPresent(record.recoveryCheckpointPendingSince);
}

NSError cannotBeJournalled() { return NSError::cocoa(CocoaErrorCode::fileWriteUnknown); }

std::string encodeCachedItem(const TovrinWarpSharedCachedItemRecord& record) { return encodeJSON(record); }

std::string encodeCachedItems(const TovrinWarpSharedCachedItemsState& state) { return encodeJSON(state); }

}  // namespace tovrin
