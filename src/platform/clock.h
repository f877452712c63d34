#pragma once

#include <chrono>
#include <stop_token>

#include "foundation/date.h"

namespace tovrin {

/// Time as the operating system tells it. Safe to use from any thread. Tests move a clock of their own.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The wall clock; may jump when the user sets it.
  virtual Date now() const = 0;
  /// Seconds since the system started, not counting sleep; never jumps back.
  virtual double systemUptime() const = 0;
  /// Sleeps for the duration, or until `stop` is requested; tells whether the whole duration passed.
  virtual bool sleep(std::chrono::nanoseconds duration, std::stop_token stop) = 0;
};

/// The system's clock; lives as long as the process.
Clock& systemClock();

}  // namespace tovrin
