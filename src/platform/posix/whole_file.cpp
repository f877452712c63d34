#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"
#include "platform/posix/replacement.h"

namespace tovrin {

namespace {

constexpr std::size_t kCompareBytes = 64 << 10;

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

FileDescriptor openWithoutWaiting(const std::filesystem::path& path) {
  return FileDescriptor::open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
}

int fillAndRename(int descriptor, const std::filesystem::path& temporary, const std::filesystem::path& path,
                  std::optional<mode_t> oldMode, std::span<const std::string_view> pieces, Durability durability) {
  if (const int error = fillReplacement(descriptor, pieces, oldMode); error != 0) return error;
  if (durability == Durability::durable) {
    if (const int error = synchronizeDescriptor(descriptor); error != 0) return error;
  }
  return replaceByRename(temporary, path);
}

}  // namespace

Result<FileContents> readWholeFile(const std::filesystem::path& path) {
  // A pipe in the place of a file must not block the open.
  FileDescriptor first = openWithoutWaiting(path);
  // Who replaces a file by turns may hold the one that had the name a moment ago: by now it is another's.
  const FileDescriptor file = first.isOpen() || errno != EWOULDBLOCK ? std::move(first) : openWithoutWaiting(path);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::read, path));
  try {
    return readOpenFile(file, path);
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {  // a sparse file can claim a size that no text can have
  }
  return failure(fileError(ENOMEM, FileOperation::read, path));
}

Result<bool> fileHolds(const std::filesystem::path& path, std::span<const std::string_view> pieces) {
  TOVRIN_TRY(FileHandle file, FileHandle::forReading(path));
  const auto memory = std::make_unique_for_overwrite<std::byte[]>(kCompareBytes);
  const std::span buffer(memory.get(), kCompareBytes);
  for (std::string_view piece : pieces) {
    while (!piece.empty()) {
      TOVRIN_TRY(const std::size_t count, file.read(buffer.first(std::min(buffer.size(), piece.size()))));
      if (count == 0 || std::memcmp(buffer.data(), piece.data(), count) != 0) return false;
      piece.remove_prefix(count);
    }
  }
  TOVRIN_TRY(const std::size_t surplus, file.read(buffer.first(1)));
  return surplus == 0;
}

Result<WrittenFile> writeFileAtomically(const std::filesystem::path& path, std::span<const std::string_view> pieces,
                                        Durability durability) {
  const std::optional<mode_t> oldMode = modeOfRegularFile(path);
  const std::filesystem::path temporary = hiddenNameBeside(path);
  FileDescriptor file = createReplacement(temporary, oldMode);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::create, path));

  if (const int error = fillAndRename(file.get(), temporary, path, oldMode, pieces, durability); error != 0) {
    ::unlink(temporary.c_str());
    return failure(fileError(error, FileOperation::create, path));
  }
  if (durability == Durability::durable) {
    if (const int error = synchronizeFolderOf(path); error != 0) {
      return failure(fileError(error, FileOperation::create, path));
    }
  }
  // Of the descriptor: by its name the file may be another process's already. Not earlier: the rename changed its
  // ctime.
  struct stat status;
  if (fstat(file.get(), &status) != 0) return failure(fileError(errno, FileOperation::create, path));
  return WrittenFile{fileIdentity(status), FileHandle::owning(file.release())};
}

}  // namespace tovrin
