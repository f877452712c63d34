#include "foundation/tasks.h"

#include <condition_variable>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace tovrin {

namespace {

/// About as many as run at once.
constexpr std::size_t kMostIdle = 8;

}  // namespace

/// A thread and the task that it runs.
struct TaskGroup::Worker {
  Worker(TaskGroup& group_, std::function<void(std::stop_token)> work_, std::stop_source stop_)
      : group(group_), work(std::move(work_)), stop(std::move(stop_)) {}
  ~Worker() {
    if (thread.joinable()) thread.join();
  }

  void run() {
    do {
      work(stop.get_token());
      work = nullptr;  // what the work holds is let go when it ends, not when its thread is given back
      if (outlivesGroup) {
        delete this;
        return;
      }
    } while (hasMore());
  }

  /// Waits for the next task; false when there is none, and then the thread ends.
  bool hasMore() {
    std::unique_lock hold(group.lock_);
    isFinished = group.ends_ || group.idle_.size() >= kMostIdle;
    if (isFinished) return false;
    group.idle_.push_back(this);
    woken.wait(hold, [this] { return work != nullptr || group.ends_; });
    return work != nullptr;
  }

  bool isCurrent() const { return thread.get_id() == std::this_thread::get_id(); }

  /// On the task's own thread: nobody is left to join it.
  void outliveGroup() {
    thread.detach();
    outlivesGroup = true;
  }

  TaskGroup& group;
  // While the worker is idle these belong to whoever holds the group's lock.
  std::function<void(std::stop_token)> work;
  std::stop_source stop;
  bool isFinished = false;
  std::condition_variable woken;

  bool outlivesGroup = false;  ///< used on the task's own thread only
  std::thread thread;
};

TaskGroup::TaskGroup() { idle_.reserve(kMostIdle); }

TaskGroup::~TaskGroup() {
  // A task that is being stopped may still start another one, hence the loop.
  for (;;) {
    std::list<std::unique_ptr<Worker>> running;
    {
      const std::lock_guard hold(lock_);
      ends_ = true;
      running.swap(workers_);
      idle_.clear();
    }
    if (running.empty()) return;
    for (auto& worker : running) {
      worker->stop.request_stop();
      worker->woken.notify_one();
      if (worker->isCurrent()) worker.release()->outliveGroup();
    }
  }
}

std::stop_source TaskGroup::start(std::function<void(std::stop_token)> work) {
  std::stop_source stop(std::nostopstate);
  try {
    stop = std::stop_source();
    const auto finished = takeFinished();
    if (!giveToIdle(work, stop)) startWorker(work, stop);
    return stop;
  } catch (const std::system_error&) {  // no thread
  } catch (const std::bad_alloc&) {
  }
  work(stop.get_token());
  return stop;
}

bool TaskGroup::giveToIdle(const std::function<void(std::stop_token)>& work, const std::stop_source& stop) {
  const std::lock_guard hold(lock_);
  if (idle_.empty()) return false;
  Worker& worker = *idle_.back();
  worker.work = work;
  worker.stop = stop;
  idle_.pop_back();
  worker.woken.notify_one();
  return true;
}

void TaskGroup::startWorker(const std::function<void(std::stop_token)>& work, const std::stop_source& stop) {
  std::list<std::unique_ptr<Worker>> fresh;
  fresh.push_back(std::make_unique<Worker>(*this, work, stop));
  Worker& worker = *fresh.front();
  const std::lock_guard hold(lock_);
  worker.thread = std::thread(&Worker::run, &worker);
  workers_.splice(workers_.end(), fresh);
}

/// Destroying the result joins threads that have nothing left to do.
std::list<std::unique_ptr<TaskGroup::Worker>> TaskGroup::takeFinished() {
  std::list<std::unique_ptr<Worker>> finished;
  const std::lock_guard hold(lock_);
  for (auto worker = workers_.begin(); worker != workers_.end();) {
    const auto next = std::next(worker);
    if ((*worker)->isFinished) finished.splice(finished.end(), workers_, worker);
    worker = next;
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
