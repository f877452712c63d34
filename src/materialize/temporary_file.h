#pragma once

#include <filesystem>
#include <utility>

namespace tovrin {

/// Removes what is at `path`, if anything; a failure leaves it to the system's own cleaning.
void removeQuietly(const std::filesystem::path& path) noexcept;

/// A file that goes with this object, on whatever path its scope is left. It may not exist yet, or no longer.
class [[nodiscard]] TemporaryFile {
 public:
  explicit TemporaryFile(std::filesystem::path path) : path_(std::move(path)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    if (!kept_) removeQuietly(path_);
  }

  const std::filesystem::path& path() const { return path_; }
  /// The file stays: it is somebody else's from here on.
  void keep() { kept_ = true; }

 private:
  std::filesystem::path path_;
  bool kept_ = false;
};

}  // namespace tovrin
