#pragma once

#include <functional>
#include <future>
#include <mutex>
#include <string_view>
#include <vector>

#include "foundation/result.h"

namespace tovrin {

struct TovrinWarpSharedCachedItemRecord;

/// The record that takes the place of `previous`, or of none.
using CachedItemReplacement =
    std::function<TovrinWarpSharedCachedItemRecord(const TovrinWarpSharedCachedItemRecord* previous)>;

/// A change of the journal that a caller waits for.
struct CachedItemChange {
  std::string_view warpID;
  std::string_view relativePath;
  const CachedItemReplacement& replacement;
  std::promise<Result<void>> outcome;
};

/// The changes whose callers wait for the cached-items lock. Whoever gets it takes them all, his own among them, and
/// owes each an outcome. Thread-safe.
class CachedItemChanges {
 public:
  void add(CachedItemChange& change);
  /// In the order in which they came.
  std::vector<CachedItemChange*> takeAll();
  /// False when somebody has taken it.
  bool withdraw(const CachedItemChange& change);

 private:
  std::mutex lock_;
  std::vector<CachedItemChange*> waiting_;
};

}  // namespace tovrin
