#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace tovrin::host {

/// Tells of changes in the shared Warp directory, on a thread of its own. Where the kernel cannot tell (the folder is
/// not there yet, or another machine may write to it), it says once a second that there may be one.
class ContainerWatch {
 public:
  struct Change {
    bool items = false;    ///< manifests or indexes
    bool journal = false;  ///< the cached-item journal
    bool isGuess = false;  ///< nobody said so: only time has passed
  };

  /// `changed` is called at the start and soon after a change, and each time once more when what is read now is surely
  /// newer: the domain keeps what it read for three quarters of a second.
  ContainerWatch(std::filesystem::path warpDirectory, std::function<void(const Change&)> changed);
  /// Waits for a call that is under way.
  ~ContainerWatch();
  ContainerWatch(const ContainerWatch&) = delete;
  ContainerWatch& operator=(const ContainerWatch&) = delete;

 private:
  void run();
  bool cover();
  bool watch(const std::filesystem::path& folder);
  Change readEvents();

  const std::filesystem::path warpDirectory_;
  const std::function<void(const Change&)> changed_;
  int events_;
  int stop_;
  std::unordered_map<int, std::filesystem::path> watched_;
  std::thread thread_;
};

}  // namespace tovrin::host
