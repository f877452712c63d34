#pragma once

#include <sys/types.h>

#include <filesystem>

namespace tovrin {

/// Another process that holds a record lock over a whole file, from construction until `release` or destruction.
class LockHolderProcess {
 public:
  explicit LockHolderProcess(const std::filesystem::path& file);
  ~LockHolderProcess();
  LockHolderProcess(const LockHolderProcess&) = delete;
  LockHolderProcess& operator=(const LockHolderProcess&) = delete;

  /// Ends the process; the kernel drops its lock. Returns when that has happened.
  void release();

 private:
  pid_t child_ = -1;
};

/// Whether another process finds the file unlocked. Asked in a process of its own: to open and close a lock file here
/// would drop the very lock that is asked for.
bool isUnlockedForOthers(const std::filesystem::path& file);

}  // namespace tovrin
