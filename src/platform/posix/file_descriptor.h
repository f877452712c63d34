#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <string_view>
#include <tuple>
#include <utility>

#include "platform/file_system.h"
#include "platform/posix/file_error.h"

/// System calls on open files, retried when a signal interrupts them. Shared by the file system's sources and the host.
namespace tovrin {

/// Owns a file descriptor.
class [[nodiscard]] FileDescriptor {
 public:
  /// Sets errno when the file does not open. Always close-on-exec.
  static FileDescriptor open(const std::filesystem::path& path, int flags, mode_t mode = 0);

  FileDescriptor(FileDescriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor() { std::ignore = close(); }

  bool isOpen() const { return value_ >= 0; }
  int get() const { return value_; }
  int release() { return std::exchange(value_, -1); }
  /// The errno of a file system that reports failed writes only here, else 0.
  int close();

 private:
  explicit FileDescriptor(int value) : value_(value) {}
  int value_;
};

/// Closes; 0 or an errno. An interrupted close has closed.
int closeDescriptor(int descriptor);

/// 0 or an errno.
int writeAll(int descriptor, std::string_view bytes);
/// Hands the file's contents to the disk; 0 or an errno. Each system has its own.
int synchronizeDescriptor(int descriptor);
/// Makes a new name in the folder of `path` survive a crash. File systems that cannot sync a folder are no error.
int synchronizeFolderOf(const std::filesystem::path& path);

FileType fileType(mode_t mode);
/// Each system has its own.
FileIdentity fileIdentity(const struct stat& status);

struct CopyOutcome {
  std::int64_t copied = 0;
  int errnoValue = 0;  ///< 0 when nothing failed
  FileOperation failedOperation = FileOperation::read;
};

/// From the one position to the other, both of which advance; stops early only at the end of `from` or with an errno.
/// Inside the kernel, in the system's own way, where it can.
CopyOutcome copyDescriptorBytes(int from, int to, std::int64_t count);
CopyOutcome copyThroughMemory(int from, int to, std::int64_t count);

}  // namespace tovrin
