#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/result.h"
#include "local/cached_items.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// The records of one journal file, all of them valid, with a probe by identity. Immutable.
class CachedItemRecords {
 public:
  CachedItemRecords() = default;

  /// The decoder's error for what is no journal of version 1; NSCocoaErrorDomain 259 when any record breaks a rule.
  static Result<CachedItemRecords> decode(std::string_view bytes, const WarpDirectory& warp);

  /// In file order.
  const std::vector<TovrinWarpSharedCachedItemRecord>& all() const { return records_; }

  /// The record of this identity, or null.
  const TovrinWarpSharedCachedItemRecord* find(std::string_view warpID, std::string_view relativePath) const;

  /// Whether a record's edit is kept in this very file.
  bool namesPendingCopy(std::string_view path) const;

  /// False spares the caller every other question about edits.
  bool hasPendingCopies() const { return pendingCopies_ > 0; }

 private:
  std::vector<TovrinWarpSharedCachedItemRecord> records_;
  std::unordered_map<std::string, std::uint32_t> indexByIdentity_;  ///< by canonical form
  std::size_t pendingCopies_ = 0;
};

std::string encodeCachedItems(const TovrinWarpSharedCachedItemsState& state);

/// The record's edit waits for upload.
bool hasPendingCopy(const TovrinWarpSharedCachedItemRecord& record);
/// Never pruned and never pushed out: an edit or a recovery checkpoint depends on it.
bool isProtected(const TovrinWarpSharedCachedItemRecord& record);

}  // namespace tovrin
