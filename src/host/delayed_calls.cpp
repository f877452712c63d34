#include "host/delayed_calls.h"

namespace tovrin::host {

DelayedCalls::DelayedCalls() : thread_([this] { run(); }) {}

DelayedCalls::~DelayedCalls() { stop(); }

void DelayedCalls::after(std::chrono::milliseconds delay, std::function<void()> work) {
  const std::scoped_lock hold(lock_);
  if (stops_) return;
  due_.emplace(std::chrono::steady_clock::now() + delay, std::move(work));
  changed_.notify_one();
}

void DelayedCalls::stop() {
  {
    const std::scoped_lock hold(lock_);
    stops_ = true;
    changed_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

void DelayedCalls::run() {
  std::unique_lock hold(lock_);
  while (!stops_) {
    if (due_.empty()) {
      changed_.wait(hold);
    } else if (due_.begin()->first > std::chrono::steady_clock::now()) {
      changed_.wait_until(hold, Time(due_.begin()->first));
    } else {
      const std::function<void()> work = std::move(due_.begin()->second);
      due_.erase(due_.begin());
      hold.unlock();
      work();
      hold.lock();
    }
  }
}

}  // namespace tovrin::host
