#pragma once

#include <filesystem>

#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

/// Keeps other processes out of a store; free again with the object, or the process. A child made by a fork keeps it
/// too.
class StoreLock {
 public:
  /// Fails at once with EBUSY, and the number of the process that has it, when it is taken.
  static Result<StoreLock> take(const std::filesystem::path& file);

  StoreLock(StoreLock&&) noexcept = default;
  StoreLock& operator=(StoreLock&&) = delete;
  ~StoreLock();

 private:
  explicit StoreLock(FileDescriptor file) : file_(std::move(file)) {}
  FileDescriptor file_;
};

}  // namespace tovrin::host
