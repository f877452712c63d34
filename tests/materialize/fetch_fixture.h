#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "local/finder_badges.h"
#include "materialize/fetch_contents.h"
#include "materialize/worker_fixture.h"
#include "provider/item.h"
#include "provider/tree.h"

namespace tovrin {

/// Reads the state file whenever a badge update is announced, which follows every write of a state: the test sees all
/// states although each one replaces the one before.
class StateRecorder final : public NotificationCenter {
 public:
  explicit StateRecorder(std::filesystem::path stateFile) : stateFile_(std::move(stateFile)) {}

  void post(const std::string& name) override;
  std::vector<TovrinWarpSharedMaterializationState> states() const;

  /// Called on the publishing thread; set before a fetch starts.
  std::function<void(const TovrinWarpSharedMaterializationState&)> onState;

 private:
  const std::filesystem::path stateFile_;
  mutable std::mutex lock_;
  std::vector<TovrinWarpSharedMaterializationState> states_;
};

struct FetchOutcome {
  std::optional<std::filesystem::path> file;
  SharedItem item;
  std::optional<NSError> error;
  std::shared_ptr<NSProgress> progress;
};

/// Everything that a fetch works with, over real files and a worker on loopback.
class FetchFixture : public WorkerFixture {
 protected:
  /// The Warp "W1" with these entries, and the connection to the worker.
  void install(const std::vector<EntrySpec>& entries);
  /// Waits for the completion, and for the task's end, so that a second completion would be seen.
  FetchOutcome fetch(std::string_view path);
  FetchOutcome fetchIdentifier(const NSFileProviderItemIdentifier& identifier);
  /// Does not wait.
  std::shared_ptr<NSProgress> start(std::string_view path, std::promise<FetchOutcome>& outcome);
  /// Of the latest fetch, for hooks that run inside it.
  NSProgress& progressOfFetch() const { return *progress_.get(); }

  std::vector<std::string> details() const;
  std::filesystem::path stateFile() const;
  /// In the folder of delivered files and the one of temporary files.
  std::size_t filesMade() const;

  StateRecorder recorder{test.warpDirectory() / "file-provider-materialization-state.json"};
  Platform platform{test.clock, test.directories, *test.urlSession, recorder};
  std::shared_ptr<CachedItemsJournal> journal = std::make_shared<CachedItemsJournal>(platform);
  std::shared_ptr<TovrinFileProviderTree> tree = std::make_shared<TovrinFileProviderTree>(platform, journal);
  FinderBadges badges{platform};
  MaterializationStatePublisher publisher{platform, badges};
  URLSession* session = test.urlSession.get();  ///< the one that fetches use
  std::optional<TaskGroup> tasks{std::in_place};
  std::atomic<int> completions{0};
  std::function<void()> onCompletion;  ///< called inside the completion; set before a fetch starts

 private:
  std::shared_ptr<NSProgress> startIdentifier(const NSFileProviderItemIdentifier& identifier,
                                              std::promise<FetchOutcome>& outcome);

  std::shared_future<std::shared_ptr<NSProgress>> progress_;
};

}  // namespace tovrin
