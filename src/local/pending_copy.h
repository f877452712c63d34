#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <string_view>

#include "foundation/result.h"
#include "shared/warp_directory.h"

namespace tovrin {

/// A synced copy of edited contents in the pending-writeback directory. Destroying it removes the file, unless it was
/// handed over to the journal.
class [[nodiscard]] PendingCopy {
 public:
  /// Copies `contents` to a fresh name that keeps the extension of `relativePath`, and measures the copy. Unreadable
  /// metadata of `contents` is an error of its own; a stop ends it with NSCocoaErrorDomain 3072. Nothing is left behind
  /// on failure.
  static Result<PendingCopy> make(const WarpDirectory& warp, std::string_view relativePath,
                                  const std::filesystem::path& contents, const std::stop_token& stop);

  PendingCopy(PendingCopy&& other) noexcept;
  PendingCopy& operator=(PendingCopy&&) = delete;
  ~PendingCopy();

  const std::filesystem::path& path() const { return path_; }
  std::int64_t size() const { return size_; }
  /// 64 lower-case hexadecimal digits.
  const std::string& checksumSHA256() const { return checksumSHA256_; }

  /// From here on the file belongs to the journal that names it …
  void handOver() { isOurs_ = false; }
  /// … or does not, after all.
  void takeBack() { isOurs_ = true; }

 private:
  explicit PendingCopy(std::filesystem::path path) : path_(std::move(path)) {}

  std::filesystem::path path_;
  std::int64_t size_ = 0;
  std::string checksumSHA256_;
  bool isOurs_ = true;
};

}  // namespace tovrin
