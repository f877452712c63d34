#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace tovrin::host {

/// Notices a program that opens very many files which are not here, as a search over everything does, so that the user
/// can be told before the disk is full. Counts by program in windows of one minute. Thread-safe.
class OpenRate {
 public:
  /// `limit`: that many opens in one window are still usual.
  OpenRate(Clock& clock, std::size_t limit) : clock_(clock), limit_(limit) {}

  /// Counts an open that has to download. True for the one that goes over the limit: once per program and window.
  bool countOpen(std::string_view program);

 private:
  struct Window {
    double start = 0;
    std::size_t opens = 0;
  };
  void forgetOldWindows(double now);

  Clock& clock_;
  const std::size_t limit_;
  std::mutex lock_;
  std::map<std::string, Window, std::less<>> windows_;
};

}  // namespace tovrin::host
