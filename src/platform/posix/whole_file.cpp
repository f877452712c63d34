#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <stdexcept>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin {

namespace {

/// Appends to `bytes` until it holds `length` bytes or the file ends; 0 or an errno.
int readUpTo(int descriptor, std::string& bytes, std::size_t length) {
  int error = 0;
  const std::size_t start = bytes.size();
  bytes.resize_and_overwrite(length, [&](char* data, std::size_t room) {
    std::size_t filled = start;
    while (filled < room) {
      const ssize_t count = ::read(descriptor, data + filled, room - filled);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) error = errno;
      if (count <= 0) break;
      filled += static_cast<std::size_t>(count);
    }
    return filled;
  });
  return error;
}

Result<FileContents> readOpenFile(const FileDescriptor& file, const std::filesystem::path& path) {
  struct stat status;
  if (fstat(file.get(), &status) != 0) return failure(fileError(errno, FileOperation::read, path));
  if (!S_ISREG(status.st_mode)) return failure(fileError(EINVAL, FileOperation::read, path));

  FileContents contents{.bytes = {}, .identity = fileIdentity(status)};
  // More than the file's size, so that its end shows without another round; files of /proc claim to be empty.
  std::size_t length = static_cast<std::size_t>(status.st_size) + 1024;
  for (;;) {
    const int error = readUpTo(file.get(), contents.bytes, length);
    if (error != 0) return failure(fileError(error, FileOperation::read, path));
    if (contents.bytes.size() < length) return contents;
    length *= 2;
  }
}

/// A pipe in the place of a file must not block the open.
FileDescriptor openForReading(const std::filesystem::path& path) {
  FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (file.isOpen() || errno != EWOULDBLOCK) return file;
  // Whoever replaces files by turns holds this one for a moment, which had the name a moment ago.
  return FileDescriptor::open(path, O_RDONLY | O_NOCTTY);
}

}  // namespace

Result<FileContents> readWholeFile(const std::filesystem::path& path) {
  const FileDescriptor file = openForReading(path);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::read, path));
  try {
    return readOpenFile(file, path);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {  // a sparse file can claim a size that no text can have
  }
  return failure(fileError(ENOMEM, FileOperation::read, path));
}

}  // namespace tovrin
