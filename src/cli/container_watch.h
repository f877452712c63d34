#pragma once

#include <chrono>
#include <filesystem>
#include <unordered_set>

#include "cli/interruption.h"

namespace tovrin::cli {

/// Wakes up when something in a folder, or in one of its subfolders of the first level, changes. Where the kernel
/// cannot tell, or the folder is not there yet, it wakes up twice a second.
class ContainerWatch {
 public:
  explicit ContainerWatch(std::filesystem::path folder);
  ~ContainerWatch();
  ContainerWatch(const ContainerWatch&) = delete;
  ContainerWatch& operator=(const ContainerWatch&) = delete;

  /// False once interrupted, or when whoever reads standard output has left. Wakes up after `longest` at the latest,
  /// may wake up earlier without a change, and never sleeps through one.
  bool waitForChange(const InterruptWatch& interruption, std::chrono::milliseconds longest);

 private:
  enum class Coverage { complete, partial, changed };
  Coverage cover();
  Coverage cover(const std::filesystem::path& folder);

  std::filesystem::path folder_;
  int descriptor_;
  std::unordered_set<int> watched_;
};

}  // namespace tovrin::cli
