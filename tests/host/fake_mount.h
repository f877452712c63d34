#pragma once

#include <condition_variable>
#include <mutex>

#include "host/mount_control.h"

namespace tovrin::host {

/// A mount that remembers what it is asked; a fetch goes on until it is stopped or let go.
class FakeMount final : public MountControl {
 public:
  MountStatus status() override { return status_; }
  std::vector<EvictOutcome> evict(const std::vector<NSFileProviderItemIdentifier>& items) override {
    std::vector<EvictOutcome> outcomes;
    for (const auto& item : items) outcomes.push_back({item, "name of " + item, Evicted::dropped});
    return outcomes;
  }
  std::vector<EvictOutcome> evictAll() override {
    return {{"a", "a.jpg", Evicted::notHere}, {"b", "b.jpg", Evicted::open}, {"c", "c.jpg", Evicted::edited}};
  }
  Result<void> fetch(const NSFileProviderItemIdentifier& identifier, std::stop_token stop) override {
    if (identifier == "fails") return failure({NSCocoaErrorDomain, 259, "The bytes are wrong."});
    if (identifier == "waits") {
      waitUntilStopped(stop);
      return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    }
    return {};
  }
  std::vector<MountStatus::KeptEdit> handOverEdits(std::stop_token stop) override {
    if (status_.edits.empty()) waitUntilStopped(stop);
    return status_.edits;
  }

  void waitForCalls(int count) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return calls_ >= count; });
  }
  void waitForStops(int count) {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [&] { return stops_ >= count; });
  }

  MountStatus status_;

 private:
  void waitUntilStopped(const std::stop_token& stop) {
    std::unique_lock hold(lock_);
    ++calls_;
    changed_.notify_all();
    stopped_.wait(hold, stop, [] { return false; });
    ++stops_;
    changed_.notify_all();
  }

  std::mutex lock_;
  std::condition_variable changed_;
  std::condition_variable_any stopped_;
  int calls_ = 0;
  int stops_ = 0;
};

}  // namespace tovrin::host
