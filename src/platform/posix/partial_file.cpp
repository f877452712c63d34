#include "platform/posix/partial_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/posix/file_error.h"

namespace tovrin {

Result<PartialFile> PartialFile::create(const std::filesystem::path& directory) {
  std::string path = directory / ".tovrin-download-XXXXXX";
  const int made = mkostemp(path.data(), O_CLOEXEC);
  if (made < 0) return failure(fileError(errno, FileOperation::create, path));
  ::close(made);
  Result<FileHandle> handle = FileHandle::forWriting(path);
  if (!handle) {
    ::unlink(path.c_str());
    return failure(handle.error());
  }
  return PartialFile(std::move(path), std::move(*handle));
}

PartialFile::PartialFile(PartialFile&& other) noexcept
    : path_(std::exchange(other.path_, {})), handle_(std::move(other.handle_)) {}

PartialFile::~PartialFile() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

Result<std::filesystem::path> PartialFile::finish() {
  TOVRIN_CHECK(handle_.close());
  return std::exchange(path_, {});
}

}  // namespace tovrin
