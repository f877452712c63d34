#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result.h"

/// Files on this machine. Failures carry the platform's usual domain, code and sentence (NSCocoaErrorDomain 260 for a
/// missing file that is read, 4 for one that is not, 640 for a full disk, …). Safe to use from any thread.
namespace tovrin {

/// What tells one version of a file from another without reading it.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modificationTimeNanoseconds = 0;
  std::int64_t statusChangeTimeNanoseconds = 0;

  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

enum class FileType { regular, directory, symbolicLink, other };

struct FileAttributes {
  FileType type = FileType::other;
  FileIdentity identity;
  std::optional<std::int64_t> birthTimeNanoseconds;  ///< absent where the file system keeps none
};

/// Does not follow a symbolic link in the last component.
Result<FileAttributes> fileAttributes(const std::filesystem::path& path);
/// Follows symbolic links; false for anything that cannot be reached.
bool fileExists(const std::filesystem::path& path);

struct FileContents {
  std::string bytes;
  FileIdentity identity;  ///< of the descriptor that was read, taken before the first byte
};
/// Regular files only: a pipe in the place of a file fails instead of blocking.
Result<FileContents> readWholeFile(const std::filesystem::path& path);

/// What a crash of the machine may do to a file that was just written; one of the process does nothing to it.
enum class Durability {
  disposable,  ///< the file may hold anything afterwards: for what is decoration and soon written anew
  ordinary,    ///< the old or the new file, as far as the file system keeps data and names in order by itself
  durable,     ///< file and directory are synced: the new file
};

/// Intermediate directories included; one that exists is no error.
Result<void> createDirectories(const std::filesystem::path& path);
/// Removes a file, a link or a whole directory.
Result<void> removeItem(const std::filesystem::path& path);
/// `to` must not exist. A regular file may move to another file system; it is copied there, then removed here.
Result<void> moveItem(const std::filesystem::path& from, const std::filesystem::path& to);
/// Copies a regular file's contents, sharing blocks where the file system can. `to` must not exist; on failure nothing
/// is left there. Follows a link at `from`. Holes are kept, and the copy is no more readable than the original; whether
/// dates and attributes come along is the system's choice.
Result<void> copyItem(const std::filesystem::path& from, const std::filesystem::path& to,
                      Durability durability = Durability::ordinary);
Result<void> createSymbolicLink(const std::filesystem::path& path, const std::string& target);
/// Names in the directory's own order, without "." and ".." and names that begin with "._".
Result<std::vector<std::string>> contentsOfDirectory(const std::filesystem::path& path);

/// An open file; closed with the object.
class [[nodiscard]] FileHandle {
 public:
  static Result<FileHandle> forReading(const std::filesystem::path& path);
  /// The file must exist.
  static Result<FileHandle> forWriting(const std::filesystem::path& path);
  /// Makes an empty file that only this user may read and write, replacing one that is there. Fails with a
  /// write error.
  static Result<FileHandle> create(const std::filesystem::path& path);
  /// Makes an empty file that only this user may read and write. What is there already, a link too, is left alone and
  /// NSCocoaErrorDomain 516: for directories that others can write to.
  static Result<FileHandle> createExclusively(const std::filesystem::path& path);

  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  ~FileHandle();

  /// Up to `buffer.size()` bytes; 0 only at the end of the file.
  Result<std::size_t> read(std::span<std::byte> buffer);
  /// All of them, or an error.
  Result<void> write(std::span<const std::byte> bytes);
  Result<void> seek(std::int64_t offset);
  Result<void> truncate(std::int64_t size);
  Result<void> synchronize();
  /// Reports what the destructor would swallow. The handle is closed whatever the result.
  Result<void> close();

  int descriptor() const { return descriptor_; }
  /// Takes an open descriptor over.
  static FileHandle owning(int descriptor) { return FileHandle(descriptor); }

 private:
  explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
  int descriptor_ = -1;
};

/// Copies up to `count` bytes from the one handle's position to the other's, inside the kernel where it can. Returns
/// the number copied: fewer only when `from` ends first.
Result<std::int64_t> copyBytes(FileHandle& from, FileHandle& to, std::int64_t count);

}  // namespace tovrin
