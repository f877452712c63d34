#pragma once

namespace tovrin::cli {

/// From here on SIGINT, SIGTERM and SIGHUP end the process with status 130, except while an InterruptWatch exists.
void endWhenInterrupted();

/// Whether an InterruptWatch of this process ever saw an interruption.
bool wasInterrupted();

/// While it exists, the first interruption only wakes whoever polls the descriptor, so that the command can clean up; a
/// second one ends the process all the same. One at a time.
class InterruptWatch {
 public:
  InterruptWatch();
  ~InterruptWatch();
  InterruptWatch(const InterruptWatch&) = delete;
  InterruptWatch& operator=(const InterruptWatch&) = delete;

  /// Readable once interrupted.
  int descriptor() const { return descriptor_; }
  bool requested() const { return wasInterrupted(); }

 private:
  int descriptor_;
};

}  // namespace tovrin::cli
