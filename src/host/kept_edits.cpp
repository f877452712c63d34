#include "host/kept_edits.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include "host/edit_fate.h"
#include "host/log.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

namespace {

constexpr std::chrono::seconds kFirstRetry{2};
constexpr std::chrono::seconds kRarestRetry{300};

std::chrono::seconds retryDelay(unsigned refusals) {
  return std::min(kRarestRetry, kFirstRetry * (1U << std::min(refusals - 1, 8U)));
}

/// The file in which an edit waits for its upload.
class PendingCopy final : public LocalFile {
 public:
  explicit PendingCopy(std::filesystem::path path)
      : path_(std::move(path)), file_(FileDescriptor::open(path_, O_RDONLY | O_NOFOLLOW)) {}
  bool isOpen() const { return file_.isOpen(); }
  int descriptor() const override { return file_.get(); }
  const std::filesystem::path& path() const override { return path_; }

 private:
  const std::filesystem::path path_;
  const FileDescriptor file_;
};

}  // namespace

KeptEdits::KeptEdits(Domain& domain, ReplicaStore& store, DelayedCalls& later, Observer observer)
    : domain_(domain), store_(store), later_(later), observer_(std::move(observer)) {
  for (const Edit& edit : store_.edits()) {
    if (edit.state == EditState::interrupted) continue;
    states_[edit.identifier].isChanged = edit.state == EditState::unsaved;
  }
}

KeptEdits::~KeptEdits() {
  std::unique_lock hold(lock_);
  calm_.wait(hold, [this] { return underWay_ == 0; });
}

void KeptEdits::resume() {
  for (const Edit& edit : store_.edits()) {
    if (edit.state == EditState::unsaved) handOver(edit.identifier, [](const Result<void>&) {});
  }
}

Result<std::shared_ptr<LocalFile>> KeptEdits::open(const SharedItem& item, const std::string& baseVersion,
                                                   const LocalFile* from) {
  const NSFileProviderItemIdentifier& identifier = item->itemIdentifier();
  if (std::shared_ptr<LocalFile> known = store_.openEdit(identifier)) return known;
  TOVRIN_TRY(std::shared_ptr<LocalFile> begun, store_.beginEdit(identifier, baseVersion, from));
  const std::scoped_lock hold(lock_);
  states_[identifier].item = item;
  return begun;
}

Result<std::shared_ptr<LocalFile>> KeptEdits::takeUp(const SharedItem& item, const std::filesystem::path& pendingCopy) {
  const NSFileProviderItemIdentifier& identifier = item->itemIdentifier();
  const PendingCopy from(pendingCopy);
  if (!from.isOpen()) return failure(fileError(errno, FileOperation::read, pendingCopy));
  {
    std::unique_lock hold(lock_);
    calm_.wait(hold, [&] {
      const auto known = states_.find(identifier);
      return known == states_.end() || !known->second.isHandedOver;
    });
    if (std::shared_ptr<LocalFile> known = store_.openEdit(identifier)) return known;
    State& state = states_[identifier];
    state.isHandedOver = true;  // until it is begun, nobody changes it
    state.item = item;
  }
  Result<std::shared_ptr<LocalFile>> begun = store_.beginEdit(identifier, item->itemVersion().contentVersion, &from);
  if (begun) {
    if (const Result<void> marked = store_.markEdit(identifier, EditState::saved, false); !marked) {
      store_.forgetEdit(identifier);
      begun = failure(marked.error());
    }
  }
  const std::scoped_lock hold(lock_);
  if (begun) {
    states_.at(identifier).isHandedOver = false;
  } else {
    states_.erase(identifier);
  }
  calm_.notify_all();
  return begun;
}

Result<bool> KeptEdits::beginChange(const NSFileProviderItemIdentifier& identifier) {
  {
    std::unique_lock hold(lock_);
    auto known = states_.end();
    calm_.wait(hold, [&] {
      known = states_.find(identifier);
      return known == states_.end() || !known->second.isHandedOver;
    });
    if (known == states_.end()) return false;
    ++known->second.changes;
    known->second.isChanged = true;
  }
  if (const Result<void> marked = markIncomplete(identifier); !marked) {
    endChange(identifier);
    return failure(marked.error());
  }
  return true;
}

/// When the host is killed in the middle of a second save, half of that must not be taken for the contents.
Result<void> KeptEdits::markIncomplete(const NSFileProviderItemIdentifier& identifier) {
  const std::optional<ReplicaStore::Local> local = store_.find(identifier);
  if (!local || !local->edit || *local->edit == EditState::writing) return {};
  return store_.markEdit(identifier, EditState::writing, false);
}

void KeptEdits::endChange(const NSFileProviderItemIdentifier& identifier) {
  const std::scoped_lock hold(lock_);
  if (--states_.at(identifier).changes == 0) calm_.notify_all();
}

/// Waits until nobody else works on the edit; false when there is nothing to hand over.
bool KeptEdits::claim(const NSFileProviderItemIdentifier& identifier) {
  std::unique_lock hold(lock_);
  auto known = states_.end();
  calm_.wait(hold, [&] {
    known = states_.find(identifier);
    return known == states_.end() || (!known->second.isHandedOver && known->second.changes == 0);
  });
  return known != states_.end() && take(known->second);
}

bool KeptEdits::take(State& state) {
  if (!state.isChanged) return false;
  state.isHandedOver = true;
  state.isChanged = false;
  ++underWay_;
  return true;
}

void KeptEdits::handOver(const NSFileProviderItemIdentifier& identifier, Completion completion) {
  if (!claim(identifier)) return completion({});
  handOverClaimed(identifier, std::move(completion));
}

void KeptEdits::handOverClaimed(const NSFileProviderItemIdentifier& identifier, Completion completion) {
  const std::shared_ptr<LocalFile> file = store_.openEdit(identifier);
  Result<void> marked = file ? store_.markEdit(identifier, EditState::unsaved, false) : Result<void>();
  if (!file || !marked) return ended(identifier, marked, completion);
  SharedItem item = domain_.item(identifier);
  if (!item) {
    const std::scoped_lock hold(lock_);
    item = states_.at(identifier).item;
  }
  domain_.extension().modifyItem(
      itemToHandIn(item, identifier), item ? item->itemVersion() : NSFileProviderItemVersion(),
      NSFileProviderItemContents, file->path(),
      [this, identifier, file, completion = std::move(completion)](const SharedItem&, NSFileProviderItemFields, bool,
                                                                   const std::optional<NSError>& error) {
        ended(identifier, error ? Result<void>(failure(*error)) : recordTaken(identifier), completion);
      });
}

/// Contents that turned out to be the stored ones wait for no upload: they are the item's copy.
Result<void> KeptEdits::recordTaken(const NSFileProviderItemIdentifier& identifier) {
  const SharedItem item = domain_.item(identifier);
  const std::optional<ReplicaStore::Local> local = store_.find(identifier);
  const bool isUnchanged = local && fateOf(domain_, item, local->version, local->file) == EditFate::isUnchanged;
  if (!isUnchanged) return store_.markEdit(identifier, EditState::saved, false);
  TOVRIN_CHECK(store_.turnEditIntoCopy(identifier));
  const std::scoped_lock hold(lock_);
  // Changes wait while it is handed over; those that come now begin a new edit.
  if (const auto known = states_.find(identifier); known != states_.end()) states_.erase(known);
  return {};
}

void KeptEdits::ended(const NSFileProviderItemIdentifier& identifier, const Result<void>& result,
                      const Completion& completion) {
  if (!result) {
    // Whatever happens to this machine now, what was typed must still be there.
    if (const Result<void> kept = store_.markEdit(identifier, EditState::unsaved, true); !kept) {
      log::error("an edit could not be recorded: {}", kept.error().localizedDescription());
    }
  }
  unsigned refusals = 0;
  bool isRetryDue = false;
  {
    const std::scoped_lock hold(lock_);
    if (const auto known = states_.find(identifier); known != states_.end()) {
      State& state = known->second;
      state.isHandedOver = false;
      state.isChanged = state.isChanged || !result;
      state.error = result ? std::nullopt : std::optional(result.error());
      state.refusals = refusals = result ? 0 : state.refusals + 1;
      isRetryDue = std::exchange(state.isRetryDue, state.isRetryDue || !result);
    }
  }
  if (refusals > 0 && !isRetryDue) {
    later_.after(retryDelay(refusals), [this, identifier] { retry(identifier); });
  }
  observer_(identifier, result);
  completion(result);
  const std::scoped_lock hold(lock_);
  --underWay_;
  calm_.notify_all();
}

/// Waits for nobody: what is being handed over is tried again when that is refused, and what is being written again is
/// handed over when it is flushed.
void KeptEdits::retry(const NSFileProviderItemIdentifier& identifier) {
  const std::optional<ReplicaStore::Local> local = store_.find(identifier);
  {
    const std::scoped_lock hold(lock_);
    const auto known = states_.find(identifier);
    if (known == states_.end()) return;
    State& state = known->second;
    state.isRetryDue = false;
    const bool isFree = !state.isHandedOver && state.changes == 0 && local && local->edit == EditState::unsaved;
    if (!isFree || !take(state)) return;
  }
  handOverClaimed(identifier, [](const Result<void>&) {});
}

void KeptEdits::handOverAll(std::stop_token stop) {
  struct Waiting {
    std::mutex lock;
    std::condition_variable_any answered;
    int open = 0;
  };
  const auto waiting = std::make_shared<Waiting>();
  for (const Edit& edit : store_.edits()) {
    if (edit.state != EditState::unsaved) continue;
    {
      const std::scoped_lock hold(waiting->lock);
      ++waiting->open;
    }
    handOver(edit.identifier, [waiting](const Result<void>&) {
      const std::scoped_lock hold(waiting->lock);
      --waiting->open;
      waiting->answered.notify_all();
    });
  }
  std::unique_lock hold(waiting->lock);
  waiting->answered.wait(hold, stop, [&] { return waiting->open == 0; });
}

void KeptEdits::forget(const NSFileProviderItemIdentifier& identifier) {
  {
    const std::scoped_lock hold(lock_);
    State& state = states_[identifier];
    if (state.isChanged || state.isHandedOver || state.changes > 0) return;
    state.isHandedOver = true;  // changes wait, and then begin another edit
  }
  store_.forgetEdit(identifier);
  const std::scoped_lock hold(lock_);
  states_.erase(identifier);
  calm_.notify_all();
}

std::optional<NSError> KeptEdits::lastError(std::string_view identifier) const {
  const std::scoped_lock hold(lock_);
  const auto known = states_.find(NSFileProviderItemIdentifier(identifier));
  return known == states_.end() ? std::nullopt : known->second.error;
}

bool KeptEdits::hasUnsaved(std::string_view identifier) const {
  const std::scoped_lock hold(lock_);
  const auto known = states_.find(NSFileProviderItemIdentifier(identifier));
  return known != states_.end() && (known->second.isChanged || known->second.isHandedOver);
}

}  // namespace tovrin::host
