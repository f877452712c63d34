#include "foundation/tasks.h"

#include <atomic>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace tovrin {

struct TaskGroup::Task {
  Task(std::function<void(std::stop_token)> work_, std::stop_source stop_)
      : work(std::move(work_)), stop(std::move(stop_)) {}
  ~Task() {
    if (thread.joinable()) thread.join();
  }

  void run() {
    work(stop.get_token());
    work = nullptr;  // what the work holds is let go when it ends, not when its thread is given back
    if (outlivesGroup)
      delete this;
    else
      finished.store(true);
  }

  bool isCurrent() const { return thread.get_id() == std::this_thread::get_id(); }

  /// On the task's own thread: nobody is left to join it.
  void outliveGroup() {
    thread.detach();
    outlivesGroup = true;
  }

  std::function<void(std::stop_token)> work;
  std::stop_source stop;
  std::atomic<bool> finished{false};
  bool outlivesGroup = false;  ///< used on the task's own thread only
  std::thread thread;
};

TaskGroup::TaskGroup() = default;

TaskGroup::~TaskGroup() {
  // A task that is being stopped may still start another one, hence the loop.
  for (;;) {
    std::list<std::unique_ptr<Task>> running;
    {
      const std::lock_guard hold(lock_);
      running.swap(tasks_);
    }
    if (running.empty()) return;
    for (auto& task : running) {
      task->stop.request_stop();
      if (task->isCurrent()) task.release()->outliveGroup();
    }
  }
}

std::stop_source TaskGroup::start(std::function<void(std::stop_token)> work) {
  std::stop_source stop(std::nostopstate);
  try {
    stop = std::stop_source();
    std::list<std::unique_ptr<Task>> fresh;
    fresh.push_back(std::make_unique<Task>(work, stop));
    Task& task = *fresh.front();
    const auto finished = takeFinished();
    const std::lock_guard hold(lock_);
    task.thread = std::thread(&Task::run, &task);
    tasks_.splice(tasks_.end(), fresh);
    return stop;
  } catch (const std::system_error&) {  // no thread
  } catch (const std::bad_alloc&) {
  }
  work(stop.get_token());
  return stop;
}

/// Destroying the result joins threads that have nothing left to do.
std::list<std::unique_ptr<TaskGroup::Task>> TaskGroup::takeFinished() {
  std::list<std::unique_ptr<Task>> finished;
  const std::lock_guard hold(lock_);
  for (auto task = tasks_.begin(); task != tasks_.end();) {
    const auto next = std::next(task);
    if ((*task)->finished.load()) finished.splice(finished.end(), tasks_, task);
    task = next;
  }
  return finished;
}

void startCancellable(TaskGroup& tasks, NSProgress& progress, std::function<void(std::stop_token)> work) {
  std::stop_source cancellation;
  progress.setCancellationHandler([cancellation]() mutable { cancellation.request_stop(); });
  std::ignore = tasks.start([work = std::move(work), cancellation](std::stop_token groupStop) mutable {
    const std::stop_callback onGroupStop(std::move(groupStop), [&cancellation] { cancellation.request_stop(); });
    work(cancellation.get_token());
  });
}

}  // namespace tovrin
