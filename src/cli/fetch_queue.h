#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <thread>
#include <vector>

#include "cli/tree_files.h"
#include "host/control/control_client.h"
#include "host/wake_event.h"

namespace tovrin::cli {

/// Fetches many files into a running mount, some at once, on threads of its own. Stopped and waited for when destroyed.
class FetchQueue {
 public:
  /// `files` must outlive it.
  FetchQueue(const host::ControlClient& mount, const std::vector<TreeFile>& files);
  ~FetchQueue();
  FetchQueue(const FetchQueue&) = delete;
  FetchQueue& operator=(const FetchQueue&) = delete;

  struct Failed {
    const TreeFile* file = nullptr;
    NSError error;
  };
  struct State {
    std::size_t files = 0;  ///< that are done with
    std::int64_t bytes = 0;
    std::set<const TreeFile*> going;
    std::vector<Failed> failed;
    std::optional<NSError> end;  ///< why nothing more is tried; what is going then is stopped
  };
  State state() const;

  void stop() { stop_.request_stop(); }
  /// Readable when there is nothing left to do.
  int doneDescriptor() const { return done_.descriptor(); }

 private:
  void run();
  const TreeFile* next();
  void finished(const TreeFile& file, const Result<void>& result);

  const host::ControlClient& mount_;
  const std::vector<TreeFile>& files_;
  std::stop_source stop_;
  host::WakeEvent done_;
  mutable std::mutex lock_;
  State state_;
  std::size_t next_ = 0;
  std::size_t unreachableInARow_ = 0;
  std::size_t running_ = 0;
  std::vector<std::jthread> threads_;
};

}  // namespace tovrin::cli
