#include "local/edited_item_states.h"

#include <string>
#include <utility>

namespace tovrin {
namespace {

TovrinWarpSharedMaterializationState finishedState(const EditedItem& item, std::string title, std::string detail) {
  return {.isActive = false,
          .title = std::move(title),
          .detail = std::move(detail),
          .progressFraction = 1.0,
          .warpID = std::string(item.warpID),
          .relativePath = std::string(item.relativePath),
          .errorDescription = std::nullopt,
          .updatedAt = {}};
}

}  // namespace

TovrinWarpSharedMaterializationState savingState(const EditedItem& item) {
  auto state = finishedState(item, "Updating Warp", "Saving " + std::string(item.relativePath) + " to Tovrin.");
  state.isActive = true;
  state.progressFraction = 0.0;
  return state;
}

TovrinWarpSharedMaterializationState unchangedState(const EditedItem& item) {
  return finishedState(item, "Update complete", std::string(item.relativePath) + " is stored in Tovrin.");
}

TovrinWarpSharedMaterializationState queuedState(const EditedItem& item) {
  return finishedState(item, "Update queued", "Tovrin will upload and evict " + std::string(item.relativePath) + ".");
}

TovrinWarpSharedMaterializationState updateFailedState(const EditedItem& item, const NSError& error) {
  auto state = finishedState(item, "Update failed", "Could not queue " + std::string(item.relativePath) + ".");
  state.progressFraction = std::nullopt;
  state.errorDescription = error.localizedDescription();
  return state;
}

}  // namespace tovrin
