#include <dirent.h>
#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <system_error>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/system_calls.h"

namespace tovrin {

namespace {

constexpr mode_t kNewDirectoryMode = 0777;

bool isDirectory(const std::filesystem::path& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isThere(const std::filesystem::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

/// 0 or an errno, EEXIST when something has the name already.
int renameToFreeName(const std::filesystem::path& from, const std::filesystem::path& to) {
  const int error = renameWithoutReplacing(from, to);
  if (error != ENOTSUP) return error;
  // Between the question and the answer another process may step in.
  if (isThere(to)) return EEXIST;
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

Result<void> moveToOtherFileSystem(const std::filesystem::path& from, const std::filesystem::path& to) {
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(from));
  if (attributes.type != FileType::regular) return failure(fileError(EXDEV, FileOperation::create, to));
  TOVRIN_CHECK(copyItem(from, to));
  if (::unlink(from.c_str()) == 0) return {};
  const NSError error = fileError(errno, FileOperation::remove, from);
  ::unlink(to.c_str());
  return failure(error);
}

}  // namespace

bool fileExists(const std::filesystem::path& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

Result<void> createDirectories(const std::filesystem::path& path) {
  // Nearly always it is there; an attempt to make it would hold up whoever changes something beside it.
  if (isDirectory(path)) return {};
  if (::mkdir(path.c_str(), kNewDirectoryMode) == 0) return {};
  const int error = errno;
  const std::filesystem::path parent = path.parent_path();
  if (error != ENOENT || parent.empty() || parent == path) {
    if (isDirectory(path)) return {};
    return failure(fileError(error, FileOperation::create, path));
  }
  TOVRIN_CHECK(createDirectories(parent));
  if (::mkdir(path.c_str(), kNewDirectoryMode) == 0 || isDirectory(path)) return {};
  return failure(fileError(errno, FileOperation::create, path));
}

Result<void> removeItem(const std::filesystem::path& path) {
  if (::unlink(path.c_str()) == 0) return {};
  // What POSIX says of a directory is EPERM; Linux has a better word.
  if (errno != EISDIR && errno != EPERM) return failure(fileError(errno, FileOperation::remove, path));
  std::error_code error;
  std::filesystem::remove_all(path, error);
  if (error) return failure(fileError(error.value(), FileOperation::remove, path));
  return {};
}

Result<void> moveItem(const std::filesystem::path& from, const std::filesystem::path& to) {
  const int error = renameToFreeName(from, to);
  if (error == 0) return {};
  if (error == EXDEV) return moveToOtherFileSystem(from, to);
  if (error == ENOENT && !isThere(from)) return failure(fileError(error, FileOperation::update, from));
  return failure(fileError(error, FileOperation::create, to));
}

Result<void> createSymbolicLink(const std::filesystem::path& path, const std::string& target) {
  if (::symlink(target.c_str(), path.c_str()) == 0) return {};
  return failure(fileError(errno, FileOperation::create, path));
}

Result<std::vector<std::string>> contentsOfDirectory(const std::filesystem::path& path) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), ::closedir);
  if (!directory) return failure(fileError(errno, FileOperation::read, path));

  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(directory.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != ".." && !name.starts_with("._")) names.emplace_back(name);
  }
  if (errno != 0) return failure(fileError(errno, FileOperation::read, path));
  return names;
}

}  // namespace tovrin
