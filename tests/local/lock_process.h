#pragma once

#include <sys/types.h>

#include <filesystem>

namespace tovrin {

/// Another process that takes and looks at locks on request, as the main application would. Nothing here may be opened
/// in the test's own process: closing any descriptor of a lock file drops the process's locks on it.
class LockProcess {
 public:
  LockProcess();
  ~LockProcess();
  LockProcess(const LockProcess&) = delete;
  LockProcess& operator=(const LockProcess&) = delete;

  /// Makes the file and its folder if needed and locks it; false when it is locked elsewhere.
  bool lock(const std::filesystem::path& file) { return request('L', file); }
  /// Lets go of all locks taken here.
  void unlockAll() { request('U', {}); }
  /// Whether another process than this one holds a lock on the file.
  bool isLockedElsewhere(const std::filesystem::path& file) { return request('Q', file); }

 private:
  bool request(char command, const std::filesystem::path& file);

  pid_t process_ = -1;
  int socket_ = -1;
};

}  // namespace tovrin
