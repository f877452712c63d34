#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <stop_token>
#include <vector>

#include "foundation/progress.h"

namespace tovrin {

/// The asynchronous operations of one owner, each with a thread to itself while it runs. Destroying the group asks
/// every task that still runs to stop and waits for it, so a task may use whatever outlives the group. A task that lets
/// go of the last hold on its own group is not waited for. A few threads of finished tasks wait for the next ones:
/// making a thread takes longer than some of the tasks. The others are given back when the next task starts.
class TaskGroup {
 public:
  TaskGroup();
  ~TaskGroup();
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  /// Starts `work`; it must not throw. The returned source stops this task alone. When the system gives no thread or no
  /// memory, `work` runs on the calling thread before this returns, so that it always runs exactly once: do not hold a
  /// lock that the work takes.
  std::stop_source start(std::function<void(std::stop_token)> work);

 private:
  struct Worker;
  bool giveToIdle(const std::function<void(std::stop_token)>& work, const std::stop_source& stop);
  void startWorker(const std::function<void(std::stop_token)>& work, const std::stop_source& stop);
  std::list<std::unique_ptr<Worker>> takeFinished();

  std::mutex lock_;
  std::list<std::unique_ptr<Worker>> workers_;
  std::vector<Worker*> idle_;
  bool ends_ = false;
};

/// Starts `work` as a task that is also stopped by cancelling the progress, at any time from here on.
void startCancellable(TaskGroup& tasks, NSProgress& progress, std::function<void(std::stop_token)> work);

}  // namespace tovrin
