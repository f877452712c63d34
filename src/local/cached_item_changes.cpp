#include "local/cached_item_changes.h"

#include <utility>

namespace tovrin {

void CachedItemChanges::add(CachedItemChange& change) {
  const std::lock_guard hold(lock_);
  waiting_.push_back(&change);
}

std::vector<CachedItemChange*> CachedItemChanges::takeAll() {
  const std::lock_guard hold(lock_);
  return std::exchange(waiting_, {});
}

bool CachedItemChanges::withdraw(const CachedItemChange& change) {
  const std::lock_guard hold(lock_);
  return std::erase(waiting_, &change) > 0;
}

}  // namespace tovrin
