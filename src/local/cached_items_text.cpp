#include "local/cached_items_text.h"

#include "local/cached_item_records.h"

namespace tovrin {

CachedItemsText::CachedItemsText(const std::vector<TovrinWarpSharedCachedItemRecord>& records) {
  for (const TovrinWarpSharedCachedItemRecord& record : records) append(record);
}

void CachedItemsText::append(const TovrinWarpSharedCachedItemRecord& record) {
  records_.append(encodeCachedItem(record));
}

std::array<std::string_view, 3> CachedItemsText::pieces(Date updatedAt) {
  frame_ = encodeCachedItems({.updatedAt = updatedAt, .records = {}});
  const std::string_view frame = frame_;
  const std::size_t middle = frame.rfind("[]") + 1;
  return {frame.substr(0, middle), records_.joined(), frame.substr(middle)};
}

}  // namespace tovrin
