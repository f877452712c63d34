#pragma once

#include <filesystem>
#include <functional>

#include "cli/interruption.h"
#include "provider/item.h"

namespace tovrin::cli {

/// A file that is this command's own, such as one that a fetch delivered: gone with this object unless it was placed.
class DisposableFile {
 public:
  explicit DisposableFile(std::filesystem::path file) : file_(std::move(file)) {}
  ~DisposableFile();
  DisposableFile(const DisposableFile&) = delete;
  DisposableFile& operator=(const DisposableFile&) = delete;

  const std::filesystem::path& path() const { return file_; }

  /// Gives the file the permissions and the modification time of the entry, as the user's own copy has them.
  void takeOn(const TovrinWarpSharedEntry& entry) const;

  /// Puts it at `target`, all or nothing: a file that is there is replaced in one step and stays on any failure. A
  /// target that is a link to a file replaces that file; a device, pipe or socket is written to. Holes stay holes.
  Result<void> placeAt(const std::filesystem::path& target, const InterruptWatch& interruption) const;

 private:
  std::filesystem::path file_;
};

/// Makes the file at `target` by what `write` puts into an empty file beside it, all or nothing.
Result<void> makeFile(const std::filesystem::path& target,
                      const std::function<Result<void>(const std::filesystem::path& file)>& write);

}  // namespace tovrin::cli
