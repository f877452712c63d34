#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <span>
#include <string_view>

#include "foundation/result.h"
#include "platform/file_system.h"

namespace tovrin {

/// A file that is replaced so often that making and removing one each time would cost more than all the rest: two files
/// take turns at its name, by a swap of names in one step. The one that had the name before stays beside it under a
/// hidden name, until its next turn or the end of this object, readable by its user alone. It is written again only
/// while nobody else has it open and no other name leads to it: whoever opened it goes on reading what he opened. Where
/// the system cannot tell, a new file is made each time and none stays. What killed processes left is removed by the
/// first who replaces a file in the same folder.
///
/// Other processes may replace the file at any time. Not thread-safe.
class AlternatingFile {
 public:
  AlternatingFile() = default;
  AlternatingFile(const AlternatingFile&) = delete;
  AlternatingFile& operator=(const AlternatingFile&) = delete;
  ~AlternatingFile() { removeSpare(); }

  /// Keeps an existing file's mode, and makes missing folders. What is not disposable is read back before it gets the
  /// name, and must lead to it afterwards; else NSCocoaErrorDomain 512. On failure the previous file stays as it was,
  /// and no other is left; a folder that cannot be synced, and a name that another process took at once, are found out
  /// too late for that. A link at `path` is replaced.
  ///
  /// Returns the identity of the file, which is no other file's before the next call or the end of this object.
  Result<FileIdentity> replace(const std::filesystem::path& path, std::span<const std::string_view> pieces,
                               Durability durability);

  /// Does what the next `replace` of what is not disposable would begin with: for when nobody waits. Emptying a file
  /// that was brought to disk takes longer than filling it.
  void emptySpare();

  /// Whether what `replace` wrote last, to this path and without failing, is there still.
  bool isAt(const std::filesystem::path& path) const;

 private:
  // Each returns 0 or an errno.
  int replaceBySpare(std::span<const std::string_view> pieces, Durability durability);
  int replaceByNew(std::span<const std::string_view> pieces, Durability durability);
  int fillSpare(std::span<const std::string_view> pieces, Durability durability);
  int putSpareInPlace();

  void removeSpare();

  std::filesystem::path path_;
  std::optional<mode_t> oldMode_;
  bool takesTurns_ = false;  ///< else the system cannot tell who has a file of this folder open
  std::filesystem::path sparePath_;
  std::optional<FileHandle> spare_;
  std::optional<FileHandle> current_;  ///< what was written last; while it is open, its inode is no other file's
  std::optional<FileIdentity> identity_;
};

/// As an `AlternatingFile` does, once.
Result<void> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes);

}  // namespace tovrin
