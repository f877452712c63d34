#pragma once

#include <array>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/json/element_texts.h"
#include "local/cached_items.h"

namespace tovrin {

/// The text of a journal that was written here. Records come and go without the others being formatted again.
class CachedItemsText {
 public:
  explicit CachedItemsText(const std::vector<TovrinWarpSharedCachedItemRecord>& records);

  void erase(const std::set<std::size_t>& positions) { records_.erase(positions); }
  void append(const TovrinWarpSharedCachedItemRecord& record);

  /// The whole file, as written at this date. Valid until the text changes.
  std::array<std::string_view, 3> pieces(Date updatedAt);

 private:
  std::string frame_;
  JSONElementTexts records_;
};

}  // namespace tovrin
