#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/control/mount_control.h"
#include "host/delayed_calls.h"
#include "host/domain.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

/// The edits of items, on their way from the programs that write to the extension. An edit that was flushed is handed
/// over as one modification; one that is refused stays in the store and is handed over again, more and more rarely,
/// until it is taken. Thread-safe.
class KeptEdits {
 public:
  using Completion = std::function<void(const Result<void>&)>;
  /// What is told of each hand-over that ended; called on any thread, without locks.
  using Observer = std::function<void(const NSFileProviderItemIdentifier&, const Result<void>&)>;

  /// All outlive this.
  KeptEdits(Domain& domain, ReplicaStore& store, DelayedCalls& later, Observer observer);
  /// Waits for hand-overs that are under way.
  ~KeptEdits();
  KeptEdits(const KeptEdits&) = delete;
  KeptEdits& operator=(const KeptEdits&) = delete;

  /// Hands over what an earlier process left unsaved.
  void resume();

  /// The item's edit, begun from `from` (null: from nothing) when there is none yet.
  Result<std::shared_ptr<LocalFile>> open(const SharedItem& item, const std::string& baseVersion,
                                          const LocalFile* from);

  /// The item's edit, begun from the copy that waits for its upload: an edit that another program handed over, or a
  /// host whose folders are gone. It counts as handed over.
  Result<std::shared_ptr<LocalFile>> takeUp(const SharedItem& item, const std::filesystem::path& pendingCopy);

  /// Runs `change`, which writes to the edit's file, while the file is not being handed over. False, without running
  /// it, when the item has no edit (any more): begin one. Fails, without running it, when the store cannot record that
  /// the edit is incomplete.
  template <class Change>
  Result<bool> change(const NSFileProviderItemIdentifier& identifier, Change&& change) {
    TOVRIN_TRY(const bool hasBegun, beginChange(identifier));
    if (!hasBegun) return false;
    change();
    endChange(identifier);
    return true;
  }

  /// Completes at once when nothing was changed since the last time. A failure means that it is kept and tried again.
  void handOver(const NSFileProviderItemIdentifier& identifier, Completion completion);
  /// Hands over everything that is unsaved, and waits until it is taken or refused, or until `stop`.
  void handOverAll(std::stop_token stop);

  /// The main application has the edit; one that is changed again meanwhile stays.
  void forget(const NSFileProviderItemIdentifier& identifier);

  /// Why the last hand-over was refused.
  std::optional<NSError> lastError(std::string_view identifier) const;
  bool hasUnsaved(std::string_view identifier) const;

 private:
  struct State {
    bool isChanged = false;     ///< since it was last handed over
    bool isHandedOver = false;  ///< at this moment
    int changes = 0;            ///< that run at this moment
    unsigned refusals = 0;      ///< in a row
    bool isRetryDue = false;    ///< one waits for its time
    SharedItem item;            ///< as it was when it was opened here, should it vanish meanwhile; may be null
    std::optional<NSError> error;
  };

  Result<bool> beginChange(const NSFileProviderItemIdentifier& identifier);
  Result<void> markIncomplete(const NSFileProviderItemIdentifier& identifier);
  void endChange(const NSFileProviderItemIdentifier& identifier);
  bool claim(const NSFileProviderItemIdentifier& identifier);
  bool take(State& state);
  void handOverClaimed(const NSFileProviderItemIdentifier& identifier, Completion completion);
  void retry(const NSFileProviderItemIdentifier& identifier);
  void ended(const NSFileProviderItemIdentifier& identifier, const Result<void>& result, const Completion& completion);
  Result<void> recordTaken(const NSFileProviderItemIdentifier& identifier);

  Domain& domain_;
  ReplicaStore& store_;
  DelayedCalls& later_;
  const Observer observer_;
  mutable std::mutex lock_;
  std::condition_variable calm_;
  int underWay_ = 0;
  std::unordered_map<NSFileProviderItemIdentifier, State> states_;
};

}  // namespace tovrin::host
