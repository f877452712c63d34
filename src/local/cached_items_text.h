#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/date.h"
#include "foundation/json/element_texts.h"
#include "local/cached_items.h"

namespace tovrin {

/// The text of a journal that was written here. A record comes or goes without the others being formatted again.
class CachedItemsText {
 public:
  explicit CachedItemsText(const std::vector<TovrinWarpSharedCachedItemRecord>& records);

  void erase(std::size_t position) { records_.erase(position); }
  void append(const TovrinWarpSharedCachedItemRecord& record);

  /// The whole file, as written at this date. Valid until the text changes.
  std::array<std::string_view, 3> pieces(Date updatedAt);

 private:
  std::string frame_;
  JSONElementTexts records_;
};

}  // namespace tovrin
