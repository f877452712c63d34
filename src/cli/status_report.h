#pragma once

#include <optional>
#include <string>
#include <vector>

#include "local/cached_items.h"
#include "materialize/materialization_state.h"
#include "platform/platform.h"
#include "shared/manifest_store.h"

namespace tovrin::cli {

/// What the domain is doing, from what lies in the container at one moment.
struct StatusReport {
  /// The most recent operation, going on or ended; nothing before the first one.
  std::optional<TovrinWarpSharedMaterializationState> operation;
  std::vector<TovrinWarpSharedCachedItemRecord> cached;            ///< newest last
  std::vector<TovrinWarpSharedCachedItemRecord> waitingForUpload;  ///< those of `cached` that carry an edit

  struct Trouble {
    std::string subject;
    std::string message;
  };
  std::vector<Trouble> needsAttention;
};

StatusReport makeStatusReport(const Platform& platform, ManifestStore& store, CachedItemsJournal& journal);

std::string statusText(const StatusReport& report);
std::string statusJSON(const StatusReport& report);

}  // namespace tovrin::cli
