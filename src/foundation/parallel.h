#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <system_error>
#include <thread>
#include <vector>

namespace tovrin {

/// Calls `work(index)` once for every index below `count`, on this thread and as many others as the machine has
/// processors for, and waits for all. `work` must not throw.
template <class Work>
void inParallel(std::size_t count, Work&& work) {
  std::atomic<std::size_t> next = 0;
  const auto workOff = [&] {
    for (std::size_t index = next++; index < count; index = next++) work(index);
  };
  const std::size_t threads = std::min<std::size_t>(count, std::max(std::thread::hardware_concurrency(), 1U));
  std::vector<std::jthread> others;
  others.reserve(threads);
  try {
    while (others.size() + 1 < threads) others.emplace_back(workOff);
  } catch (const std::system_error&) {
    // No more threads to be had: those that there are do it all.
  }
  workOff();
}

}  // namespace tovrin
