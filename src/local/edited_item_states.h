#pragma once

#include <string_view>

#include "foundation/error.h"
#include "materialize/materialization_state.h"

/// The states that an edit goes through: saving, then one of the other three.
namespace tovrin {

/// What a state says it is about.
struct EditedItem {
  std::string_view warpID;
  std::string_view relativePath;
};

TovrinWarpSharedMaterializationState savingState(const EditedItem& item);
TovrinWarpSharedMaterializationState unchangedState(const EditedItem& item);
TovrinWarpSharedMaterializationState queuedState(const EditedItem& item);
TovrinWarpSharedMaterializationState updateFailedState(const EditedItem& item, const NSError& error);

}  // namespace tovrin
