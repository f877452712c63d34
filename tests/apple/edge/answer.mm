#include "edge/answer.h"

namespace tovrin {

void Answer::give(Values values) {
  const std::lock_guard hold(lock_);
  if (++completions_ == 1) first_ = std::move(values);
  given_.notify_all();
}

Answer::Values Answer::wait() {
  std::unique_lock hold(lock_);
  given_.wait(hold, [this] { return completions_ > 0; });
  return first_;
}

int Answer::completions() {
  const std::lock_guard hold(lock_);
  return completions_;
}

}  // namespace tovrin
