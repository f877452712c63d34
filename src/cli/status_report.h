#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/mount_report.h"
#include "local/cached_items.h"
#include "materialize/materialization_state.h"
#include "platform/platform.h"
#include "shared/manifest_store.h"

namespace tovrin::cli {

/// What the domain is doing, from what lies in the container at one moment and from the mount, if one runs.
struct StatusReport {
  std::optional<host::MountStatus> mount;
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

/// What reports are made from; kept from one to the next, so that what did not change is not read again.
class StatusSources {
 public:
  explicit StatusSources(const Platform& platform) : platform_(platform), store_(platform), journal_(platform) {}

  StatusReport report();

 private:
  void addContainer(StatusReport& report);
  void addMount(StatusReport& report);

  Platform platform_;
  ManifestStore store_;
  CachedItemsJournal journal_;
};

std::string statusText(const StatusReport& report, const OpeningText& opening);
std::string statusJSON(const StatusReport& report);

}  // namespace tovrin::cli
