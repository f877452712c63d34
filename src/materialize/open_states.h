#pragma once

#include <cstdint>

#include "foundation/error.h"
#include "materialize/materialization_state.h"
#include "materialize/renterd_client.h"

/// The states that an open goes through, in the order in which they are published.
namespace tovrin {

/// What a state says it is about.
struct OpenedItem {
  std::string_view warpID;
  std::string_view relativePath;
};

/// At the start, and after each part. A fraction is shown as 0.99 at most until the file is verified.
TovrinWarpSharedMaterializationState openingState(const OpenedItem& item, double fraction);
TovrinWarpSharedMaterializationState waitingState(const OpenedItem& item, RenterdClient::WaitPhase phase,
                                                  std::int64_t readyAccounts);
TovrinWarpSharedMaterializationState openedState(const OpenedItem& item);
TovrinWarpSharedMaterializationState failedState(const OpenedItem& item, const NSError& error);

}  // namespace tovrin
