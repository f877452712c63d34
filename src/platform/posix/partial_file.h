#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>

#include "foundation/result.h"
#include "platform/file_system.h"

namespace tovrin {

/// A file that is still being received: fresh, hidden and readable by its user alone. Removed with the object unless it
/// was finished.
class [[nodiscard]] PartialFile {
 public:
  static Result<PartialFile> create(const std::filesystem::path& directory);

  PartialFile(PartialFile&& other) noexcept;
  PartialFile& operator=(PartialFile&&) = delete;
  ~PartialFile();

  Result<void> write(std::span<const std::byte> bytes) { return handle_.write(bytes); }
  /// Closes the file and leaves it to the caller.
  Result<std::filesystem::path> finish();

 private:
  PartialFile(std::filesystem::path path, FileHandle handle) : path_(std::move(path)), handle_(std::move(handle)) {}

  std::filesystem::path path_;  ///< empty once the file is no longer ours
  FileHandle handle_;
};

}  // namespace tovrin
