#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/domain.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

/// A version of an item that is here now.
struct FetchedCopy {
  std::shared_ptr<LocalFile> file;
  std::string version;
};

/// The downloads that wait or run. Whoever wants an item that is on its way joins its fetch; a fetch that nobody waits
/// for any more is cancelled. Thread-safe.
class Fetches {
 public:
  /// Called exactly once: on a thread of the extension, of whoever makes the waiter leave, or at once.
  using Waiter = std::function<void(const Result<FetchedCopy>&)>;

  struct Ticket {
    NSFileProviderItemIdentifier identifier;
    std::uint64_t number = 0;
  };

  struct Limits {
    unsigned atOnce = 8;
    bool offline = false;  ///< every fetch fails at once by the error of a worker that cannot be reached
  };
  Fetches(Domain& domain, ReplicaStore& store, Limits limits) : domain_(domain), store_(store), limits_(limits) {}
  /// Cancels everything and waits for it.
  ~Fetches();
  Fetches(const Fetches&) = delete;
  Fetches& operator=(const Fetches&) = delete;

  /// Makes room in the store, fetches, and keeps the result there.
  Ticket join(const SharedItem& item, Waiter waiter);
  /// The waiter gets this error, unless it was called already.
  void leave(const Ticket& ticket, const NSError& why);

  struct Progress {
    NSFileProviderItemIdentifier identifier;
    std::string filename;
    std::int64_t bytes = 0;
    double fraction = 0;
    bool isQueued = false;
  };
  std::optional<Progress> progress(std::string_view identifier) const;
  std::vector<Progress> all() const;

 private:
  struct Job;
  using SharedJob = std::shared_ptr<Job>;

  std::optional<NSError> reasonToRefuse() const;
  void start(const SharedJob& job);
  bool triesAgain(const SharedJob& job, const Result<FetchedCopy>& result);
  void finish(const SharedJob& job, const Result<FetchedCopy>& result);
  Result<FetchedCopy> keep(const SharedJob& job, const std::filesystem::path& file, const SharedItem& item);
  static Progress progressOf(const Job& job);

  Domain& domain_;
  ReplicaStore& store_;
  const Limits limits_;
  mutable std::mutex lock_;
  std::condition_variable ended_;
  std::uint64_t lastNumber_ = 0;
  unsigned running_ = 0;
  double unreachableAt_ = -1e9;  ///< by the system's uptime
  bool ends_ = false;
  std::unordered_map<NSFileProviderItemIdentifier, SharedJob> jobs_;  ///< those that can be joined
  std::deque<SharedJob> queue_;
};

}  // namespace tovrin::host
