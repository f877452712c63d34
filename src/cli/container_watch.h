#pragma once

#include <filesystem>

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

  /// False once interrupted.
  bool waitForChange(const InterruptWatch& interruption);

 private:
  bool watches();

  std::filesystem::path folder_;
  int descriptor_;
};

}  // namespace tovrin::cli
