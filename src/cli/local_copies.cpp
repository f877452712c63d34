#include "cli/local_copies.h"

#include <limits>
#include <memory>
#include <utility>

#include "cli/item_argument.h"
#include "host/control/control_client.h"
#include "host/edit_fate.h"
#include "host/presentation.h"
#include "host/store/replica_store.h"
#include "host/store/store_folders.h"

namespace tovrin::cli {

namespace {

using Identifiers = std::vector<NSFileProviderItemIdentifier>;

/// Only the copies that are asked for are to go.
constexpr host::StoreLimits kNoLimits{.cacheBytes = std::numeric_limits<std::int64_t>::max(), .keepFree = 0};

/// The store of a container that is not mounted.
class UnmountedStore {
 public:
  /// A container that was never mounted has none, and gets none here.
  static Result<UnmountedStore> open(Session& session) {
    TOVRIN_TRY(const host::StoreFolders folders, host::storeFolders(session.platform().directories));
    std::error_code ignored;
    if (!std::filesystem::exists(folders.state, ignored)) return UnmountedStore(session, nullptr);
    TOVRIN_TRY(std::unique_ptr<host::ReplicaStore> store, host::ReplicaStore::open(folders, kNoLimits));
    return UnmountedStore(session, std::move(store));
  }

  Identifiers items() const { return store_ ? store_->items() : Identifiers(); }

  host::EvictOutcome evictOne(const NSFileProviderItemIdentifier& identifier) {
    const SharedItem item = session_.item(identifier);
    host::EvictOutcome outcome{identifier, host::filenameOf(item, identifier), host::Evicted::notHere};
    if (!store_) return outcome;
    const auto local = store_->find(identifier);
    if (local && local->edit == host::EditState::saved &&
        host::fateOf(session_, item, local->version, local->file) != host::EditFate::waits) {
      store_->forgetEdit(identifier);
    }
    outcome.result = store_->evict(identifier);
    return outcome;
  }

  void evictBelow(const NSFileProviderItemIdentifier& folder, std::vector<host::EvictOutcome>& outcomes) {
    for (const SharedItem& item : session_.children(folder)) {
      if (isFolder(*item)) {
        evictBelow(item->itemIdentifier(), outcomes);
      } else if (store_ && store_->find(item->itemIdentifier())) {
        outcomes.push_back(evictOne(item->itemIdentifier()));
      }
    }
  }

 private:
  UnmountedStore(Session& session, std::unique_ptr<host::ReplicaStore> store)
      : session_(session), store_(std::move(store)) {}

  Session& session_;
  std::unique_ptr<host::ReplicaStore> store_;
};

}  // namespace

Result<std::vector<host::EvictOutcome>> evict(Session& session, const Identifiers& items) {
  if (const auto mount = host::ControlClient::find(session.platform().directories)) return mount->evict(items);
  TOVRIN_TRY(UnmountedStore store, UnmountedStore::open(session));
  std::vector<host::EvictOutcome> outcomes;
  for (const NSFileProviderItemIdentifier& identifier : items) {
    const SharedItem item = session.item(identifier);
    if (item && isFolder(*item)) {
      store.evictBelow(identifier, outcomes);
    } else {
      outcomes.push_back(store.evictOne(identifier));
    }
  }
  return outcomes;
}

Result<std::vector<host::EvictOutcome>> evictAll(Session& session) {
  if (const auto mount = host::ControlClient::find(session.platform().directories)) return mount->evictAll();
  TOVRIN_TRY(UnmountedStore store, UnmountedStore::open(session));
  std::vector<host::EvictOutcome> outcomes;
  for (const NSFileProviderItemIdentifier& identifier : store.items()) outcomes.push_back(store.evictOne(identifier));
  return outcomes;
}

}  // namespace tovrin::cli
