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

  /// Puts it where `path` leads (cli/target.h), all or nothing: a file that is there is replaced in one step and stays
  /// on any failure. A device, pipe or socket is written to and keeps its permissions and times. Holes stay holes.
  Result<void> placeAt(const std::filesystem::path& path, const InterruptWatch& interruption) const;

 private:
  std::filesystem::path file_;
};

/// Makes the file that `path` leads to by what `write` puts into an empty file beside it, all or nothing. Fails for a
/// device, pipe or socket.
Result<void> makeFile(const std::filesystem::path& path,
                      const std::function<Result<void>(const std::filesystem::path& file)>& write);

}  // namespace tovrin::cli
