#include <unistd.h>

#include <condition_variable>
#include <memory>
#include <mutex>

#include "host/edit_fate.h"
#include "host/mounted_domain.h"

/// What a running mount does when it is asked from outside.
namespace tovrin::host {

std::vector<MountStatus::KeptEdit> MountedDomain::keptEdits() {
  std::vector<MountStatus::KeptEdit> kept;
  for (const Edit& edit : store_->edits()) {
    const auto error = edits_.lastError(edit.identifier);
    kept.push_back({edit.identifier, filenameOf(domain_.item(edit.identifier), edit.identifier), edit.state, edit.file,
                    error ? error->localizedDescription() : std::string()});
  }
  return kept;
}

MountStatus MountedDomain::status() {
  MountStatus status;
  status.mountpoint = request_.mountpoint;
  status.processID = getpid();
  status.usage = store_->usage();
  status.limits = request_.limits;
  for (const Fetches::Progress& progress : fetches_.all()) {
    status.openings.push_back(
        {progress.identifier, progress.filename, progress.bytes, progress.fraction, progress.isQueued});
  }
  status.edits = keptEdits();
  status.problems = troubles_.all();
  status.refusedCrawlers = refusedCrawlers_.load();
  return status;
}

EvictOutcome MountedDomain::evictOne(const NSFileProviderItemIdentifier& identifier) {
  const SharedItem item = domain_.item(identifier);
  const auto local = store_->find(identifier);
  if (local && local->edit == EditState::saved &&
      fateOf(domain_, item, local->version, local->file) != EditFate::waits) {
    edits_.forget(identifier);
  }
  const EvictOutcome outcome{identifier, filenameOf(item, identifier), store_->evict(identifier)};
  if (outcome.result == Evicted::dropped) attributesChanged(identifier);
  return outcome;
}

void MountedDomain::evictBelow(const NSFileProviderItemIdentifier& folder, std::vector<EvictOutcome>& outcomes) {
  for (const SharedItem& item : domain_.children(folder)) {
    if (isFolder(*item)) {
      evictBelow(item->itemIdentifier(), outcomes);
    } else if (store_->find(item->itemIdentifier())) {
      outcomes.push_back(evictOne(item->itemIdentifier()));
    }
  }
}

std::vector<EvictOutcome> MountedDomain::evict(const std::vector<NSFileProviderItemIdentifier>& items) {
  std::vector<EvictOutcome> outcomes;
  for (const NSFileProviderItemIdentifier& identifier : items) {
    const SharedItem item = domain_.item(identifier);
    if (item && isFolder(*item)) {
      evictBelow(identifier, outcomes);
    } else {
      outcomes.push_back(evictOne(identifier));
    }
  }
  return outcomes;
}

std::vector<EvictOutcome> MountedDomain::evictAll() {
  std::vector<EvictOutcome> outcomes;
  for (const NSFileProviderItemIdentifier& identifier : store_->items()) outcomes.push_back(evictOne(identifier));
  return outcomes;
}

Result<void> MountedDomain::fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) {
  const SharedItem item = domain_.item(identifier);
  if (!item) return failure(NSError::cocoa(CocoaErrorCode::fileReadNoSuchFile));
  const auto local = store_->find(identifier);
  if (local && (local->edit || (local->isCopy && local->version == item->itemVersion().contentVersion))) return {};

  struct Answer {
    std::mutex lock;
    std::condition_variable given;
    std::optional<Result<void>> result;
  };
  const auto answer = std::make_shared<Answer>();
  const Fetches::Ticket ticket = fetches_.join(item, [answer](const Result<FetchedCopy>& fetched) {
    const std::scoped_lock hold(answer->lock);
    answer->result = fetched ? Result<void>() : failure(fetched.error());
    answer->given.notify_all();
  });
  const std::stop_callback leaves(stop, [&] { fetches_.leave(ticket, NSError::cocoa(CocoaErrorCode::userCancelled)); });
  std::unique_lock hold(answer->lock);
  answer->given.wait(hold, [&] { return answer->result.has_value(); });
  hold.unlock();
  if (*answer->result) {
    troubles_.cleared(identifier);
    attributesChanged(identifier);
  }
  return *answer->result;
}

std::vector<MountStatus::KeptEdit> MountedDomain::handOverEdits(std::stop_token stop) {
  edits_.handOverAll(stop);
  std::vector<MountStatus::KeptEdit> left = keptEdits();
  std::erase_if(left, [](const MountStatus::KeptEdit& edit) { return edit.state != EditState::unsaved; });
  return left;
}

}  // namespace tovrin::host
