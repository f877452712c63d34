#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <utility>

#include "host/control/mount_control.h"

namespace tovrin::host {

/// A mount that answers as it was told to and remembers what it was asked. The members without `_` are set before it is
/// asked.
class FakeMount final : public MountControl {
 public:
  using Identifier = NSFileProviderItemIdentifier;

  std::map<Identifier, Evicted> evictions;  ///< what becomes of these; of others: dropped
  std::map<Identifier, NSError> failures;   ///< what these cannot be fetched for
  std::set<Identifier> stalled;             ///< fetches that go on until they are stopped

  void setStatus(MountStatus status) {
    const std::lock_guard hold(lock_);
    status_ = std::move(status);
  }
  MountStatus status() override {
    const std::lock_guard hold(lock_);
    ++asked_;
    changed_.notify_all();
    return status_;
  }

  std::vector<EvictOutcome> evict(const std::vector<Identifier>& items) override {
    std::vector<EvictOutcome> outcomes;
    for (const Identifier& item : items) {
      const auto told = evictions.find(item);
      outcomes.push_back({item, "name of " + item, told == evictions.end() ? Evicted::dropped : told->second});
    }
    return outcomes;
  }
  std::vector<EvictOutcome> evictAll() override {
    std::vector<EvictOutcome> outcomes;
    for (const auto& [item, result] : evictions) outcomes.push_back({item, "name of " + item, result});
    return outcomes;
  }

  Result<void> fetch(const Identifier& identifier, std::stop_token stop) override {
    {
      const std::lock_guard hold(lock_);
      fetched_.insert(identifier);
    }
    if (stalled.contains(identifier)) {
      waitUntilStopped(stop);
      return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    }
    const auto failing = failures.find(identifier);
    if (failing != failures.end()) return failure(failing->second);
    return {};
  }

  /// Goes on until it is stopped when there is no edit.
  std::vector<MountStatus::KeptEdit> handOverEdits(std::stop_token stop) override {
    MountStatus now = status();
    if (now.edits.empty()) waitUntilStopped(stop);
    return std::move(now.edits);
  }

  std::set<Identifier> fetched() {
    const std::lock_guard hold(lock_);
    return fetched_;
  }
  /// Until the status was asked for so many times more.
  void waitForQuestions(int count) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&, enough = asked_ + count] { return asked_ >= enough; });
  }
  void waitForStalls(int count) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return stalls_ >= count; });
  }
  void waitForStops(int count) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return stops_ >= count; });
  }

 private:
  void waitUntilStopped(const std::stop_token& stop) {
    std::unique_lock hold(lock_);
    ++stalls_;
    changed_.notify_all();
    stopped_.wait(hold, stop, [] { return false; });
    ++stops_;
    changed_.notify_all();
  }

  std::mutex lock_;
  std::condition_variable changed_;
  std::condition_variable_any stopped_;
  MountStatus status_;
  std::set<Identifier> fetched_;
  int asked_ = 0;
  int stalls_ = 0;
  int stops_ = 0;
};

}  // namespace tovrin::host
