#include "local/cached_item_records.h"

#include <algorithm>
#include <tuple>

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
  decoded.indexByIdentity_.reserve(state.records.size());
  for (std::uint32_t index = 0; const TovrinWarpSharedCachedItemRecord& record : state.records) {
    const bool isValid =
        hasValidOwnFields(record) &&
        decoded.indexByIdentity_.try_emplace(canonicalForm(recordIdentity(record.warpID, record.relativePath)), index++)
            .second &&
        hasValidPendingFields(record, prefix);
    if (!isValid) return failure(NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
    if (hasPendingCopy(record)) ++decoded.pendingCopies_;
  }
  decoded.records_ = std::move(state.records);
  return decoded;
}

const TovrinWarpSharedCachedItemRecord* CachedItemRecords::find(std::string_view warpID,
                                                                std::string_view relativePath) const {
  const auto found = indexByIdentity_.find(canonicalForm(recordIdentity(warpID, relativePath)));
  return found == indexByIdentity_.end() ? nullptr : &records_[found->second];
}

bool CachedItemRecords::namesPendingCopy(std::string_view path) const {
  return std::ranges::any_of(records_, [path](const TovrinWarpSharedCachedItemRecord& record) {
    return record.pendingWritebackFilePath && *record.pendingWritebackFilePath == path;
  });
}

std::string encodeCachedItems(const TovrinWarpSharedCachedItemsState& state) { return encodeJSON(state); }

}  // namespace tovrin
