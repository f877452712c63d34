#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "host/domain.h"

namespace tovrin::host {

/// The sum of the sizes of all files, for `df`. Counted Warp by Warp; a Warp whose manifest is the one that was counted
/// last is not counted again.
class DomainSize {
 public:
  explicit DomainSize(Domain& domain) : domain_(domain) {}

  /// As of the last count. Safe to call from any thread.
  std::int64_t bytes() const { return bytes_.load(); }
  std::int64_t files() const { return files_.load(); }

  /// One thread at a time.
  void count();

 private:
  struct Sum {
    std::int64_t bytes = 0;
    std::int64_t files = 0;
    SharedEntry entry;  ///< one of the Warp's; its manifest is the one that was counted
  };
  Sum sumBelow(const NSFileProviderItemIdentifier& folder);
  Sum sumOfWarp(const TovrinFileProviderItem& warp);

  Domain& domain_;
  std::unordered_map<std::string, Sum> counted_;
  std::unordered_map<std::string, Sum> current_;
  std::atomic<std::int64_t> bytes_{0};
  std::atomic<std::int64_t> files_{0};
};

}  // namespace tovrin::host
