#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <thread>

namespace tovrin {

/// The asynchronous operations of one owner, each on a thread of its own. Destroying the group asks every task that
/// still runs to stop and waits for it, so a task may use whatever outlives the group.
class TaskGroup {
 public:
  TaskGroup() = default;
  ~TaskGroup();
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  /// Starts `work`; it must not throw. The returned source stops this task alone.
  std::stop_source start(std::function<void(std::stop_token)> work);

 private:
  struct Task;
  std::mutex lock_;
  std::list<std::unique_ptr<Task>> tasks_;
};

}  // namespace tovrin
