#include "platform/posix/file_descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tovrin {

FileDescriptor FileDescriptor::open(const std::filesystem::path& path, int flags, mode_t mode) {
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (descriptor < 0 && errno == EINTR);
  return FileDescriptor(descriptor);
}

int FileDescriptor::close() { return isOpen() ? closeDescriptor(release()) : 0; }

int closeDescriptor(int descriptor) { return ::close(descriptor) == 0 || errno == EINTR ? 0 : errno; }

int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0) {
      return EIO;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

int synchronizeFolderOf(const std::filesystem::path& path) {
  const std::filesystem::path parent = path.parent_path();
  const FileDescriptor folder = FileDescriptor::open(parent.empty() ? "." : parent, O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return errno;
  const int error = synchronizeDescriptor(folder.get());
  return error == EINVAL || error == EOPNOTSUPP || error == EROFS ? 0 : error;
}

FileType fileType(mode_t mode) {
  if (S_ISREG(mode)) return FileType::regular;
  if (S_ISDIR(mode)) return FileType::directory;
  if (S_ISLNK(mode)) return FileType::symbolicLink;
  return FileType::other;
}

CopyOutcome copyThroughMemory(int from, int to, std::int64_t count) {
  CopyOutcome outcome;
  std::array<char, 64 << 10> buffer;
  while (outcome.copied < count) {
    const auto room = static_cast<std::size_t>(std::min<std::int64_t>(count - outcome.copied, buffer.size()));
    const ssize_t length = ::read(from, buffer.data(), room);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return {outcome.copied, errno, FileOperation::read};
    if (length == 0) break;
    if (const int error = writeAll(to, {buffer.data(), static_cast<std::size_t>(length)}); error != 0) {
      return {outcome.copied, error, FileOperation::update};
    }
    outcome.copied += length;
  }
  return outcome;
}

}  // namespace tovrin
