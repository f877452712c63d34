#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/interruption.h"
#include "host/domain.h"

namespace tovrin::cli {

/// One run of the command: the domain that everything shown comes from, and its operations as a user waits for them.
class Session : public host::Domain {
 public:
  /// `container` is the app-group container; empty for an installation that has none.
  explicit Session(const std::string& container);

  struct Changes {
    std::optional<std::vector<SharedItem>> updated;  ///< nothing when the anchor is current
    NSFileProviderSyncAnchor anchor;
    bool moreComing = false;
  };
  Changes changes(const NSFileProviderItemIdentifier& container, const NSFileProviderSyncAnchor& anchor);

  struct Fetched {
    std::filesystem::path file;  ///< the caller's to keep or remove
    SharedItem item;
  };
  /// Waits for the fetch. An interruption cancels it, and what it may deliver all the same is removed; the error is
  /// then the user's cancelling. `whileWaiting` is called several times a second.
  Result<Fetched> fetch(const NSFileProviderItemIdentifier& identifier, const InterruptWatch& interruption,
                        const std::function<void(const NSProgress&)>& whileWaiting);

  /// Hands the file in as the item's new contents and waits for the answer, which decides: an edit that was accepted is
  /// accepted, interrupted or not.
  Result<SharedItem> modify(const NSFileProviderItemIdentifier& identifier, const std::filesystem::path& contents,
                            const InterruptWatch& interruption);
};

}  // namespace tovrin::cli
