#include "cli/transfer_rates.h"

#include <utility>

namespace tovrin::cli {

namespace {

constexpr double kRememberedSeconds = 3;

}  // namespace

void TransferRates::observe(const host::MountStatus& status, double now) {
  auto before = std::exchange(observations_, {});
  for (const host::MountStatus::Opening& opening : status.openings) {
    if (opening.isQueued) continue;
    std::deque<Observation> observed = std::move(before[opening.identifier]);
    observed.push_back({now, opening.fraction * static_cast<double>(opening.bytes)});
    while (now - observed.front().time > kRememberedSeconds) observed.pop_front();
    observations_.emplace(opening.identifier, std::move(observed));
  }
}

std::optional<double> TransferRates::rateOf(const NSFileProviderItemIdentifier& identifier) const {
  const auto found = observations_.find(identifier);
  if (found == observations_.end()) return std::nullopt;
  const Observation& first = found->second.front();
  const Observation& last = found->second.back();
  if (last.time <= first.time || last.bytes < first.bytes) return std::nullopt;
  return (last.bytes - first.bytes) / (last.time - first.time);
}

}  // namespace tovrin::cli
