#include "materialize/open_states.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tovrin {
namespace {

TovrinWarpSharedMaterializationState activeState(const OpenedItem& item, std::string detail, double fraction) {
  return {.isActive = true,
          .title = "Opening Warp",
          .detail = std::move(detail),
          .progressFraction = fraction,
          .warpID = std::string(item.warpID),
          .relativePath = std::string(item.relativePath),
          .errorDescription = std::nullopt,
          .updatedAt = {}};
}

}  // namespace

TovrinWarpSharedMaterializationState openingState(const OpenedItem& item, double fraction) {
  return activeState(item, "Opening " + std::string(item.relativePath) + ".", std::min(fraction, 0.99));
}

TovrinWarpSharedMaterializationState waitingState(const OpenedItem& item, RenterdClient::WaitPhase phase,
                                                  std::int64_t readyAccounts) {
  const std::string beginning = phase == RenterdClient::WaitPhase::preparing
                                    ? "Preparing Ombrel Cloud to open "
                                    : "Ombrel Cloud is still preparing to open ";
  const std::string counts = std::to_string(readyAccounts) + "/" + std::to_string(kRequiredReadyAccounts);
  return activeState(item, beginning + std::string(item.relativePath) + " (" + counts + " ready).", 0.0);
}

TovrinWarpSharedMaterializationState openedState(const OpenedItem& item) {
  auto state = activeState(item, "Opened " + std::string(item.relativePath) + ".", 1.0);
  state.isActive = false;
  state.title = "Open complete";
  return state;
}

TovrinWarpSharedMaterializationState failedState(const OpenedItem& item, const NSError& error) {
  auto state = activeState(item, "Could not open " + std::string(item.relativePath) + ".", 0.0);
  state.isActive = false;
  state.title = "Open failed";
  state.progressFraction = std::nullopt;
  state.errorDescription = error.localizedDescription();
  return state;
}

}  // namespace tovrin
