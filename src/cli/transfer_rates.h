#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>

#include "host/control/mount_control.h"

namespace tovrin::cli {

/// How fast the files that a mount opens arrive, over the last seconds. Told of every status that is seen.
class TransferRates {
 public:
  /// `now` in seconds, of a clock that never jumps back.
  void observe(const host::MountStatus& status, double now);
  /// Bytes a second; nothing before there is something to tell it from.
  std::optional<double> rateOf(const NSFileProviderItemIdentifier& identifier) const;

 private:
  struct Observation {
    double time = 0;
    double bytes = 0;
  };
  std::map<NSFileProviderItemIdentifier, std::deque<Observation>> observations_;
};

}  // namespace tovrin::cli
