#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_system.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin {

namespace {

constexpr mode_t kPrivateFileMode = 0600;

Result<void> resultOf(int errnoValue) {
  if (errnoValue != 0) return failure(fileError(errnoValue, FileOperation::update));
  return {};
}

}  // namespace

Result<FileHandle> FileHandle::forReading(const std::filesystem::path& path) {
  FileDescriptor file = FileDescriptor::open(path, O_RDONLY | O_NOCTTY);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::read, path));
  return FileHandle(file.release());
}

Result<FileHandle> FileHandle::forWriting(const std::filesystem::path& path) {
  FileDescriptor file = FileDescriptor::open(path, O_WRONLY | O_NOCTTY);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::update, path));
  return FileHandle(file.release());
}

Result<FileHandle> FileHandle::create(const std::filesystem::path& path) {
  // A file that is there goes away as a name: whoever has it open, or knows it by another name, keeps the contents.
  for (;;) {
    FileDescriptor file = FileDescriptor::open(path, O_RDWR | O_CREAT | O_EXCL, kPrivateFileMode);
    if (file.isOpen()) return FileHandle(file.release());
    if (errno != EEXIST) return failure(fileError(errno, FileOperation::create, path));
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) return failure(fileError(errno, FileOperation::create, path));
  }
}

Result<FileHandle> FileHandle::createExclusively(const std::filesystem::path& path) {
  FileDescriptor file = FileDescriptor::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivateFileMode);
  if (!file.isOpen()) return failure(fileError(errno, FileOperation::create, path));
  return FileHandle(file.release());
}

FileHandle::FileHandle(FileHandle&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    std::ignore = close();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

FileHandle::~FileHandle() { std::ignore = close(); }

Result<std::size_t> FileHandle::read(std::span<std::byte> buffer) {
  for (;;) {
    const ssize_t count = ::read(descriptor_, buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) return failure(fileError(errno, FileOperation::read));
  }
}

Result<void> FileHandle::write(std::span<const std::byte> bytes) {
  return resultOf(writeAll(descriptor_, {reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
}

Result<void> FileHandle::seek(std::int64_t offset) {
  if (::lseek(descriptor_, offset, SEEK_SET) >= 0) return {};
  return failure(fileError(errno, FileOperation::read));
}

Result<void> FileHandle::truncate(std::int64_t size) {
  int result = 0;
  do {
    result = ::ftruncate(descriptor_, size);
  } while (result != 0 && errno == EINTR);
  return resultOf(result == 0 ? 0 : errno);
}

Result<void> FileHandle::synchronize() { return resultOf(synchronizeDescriptor(descriptor_)); }

Result<void> FileHandle::close() {
  if (descriptor_ < 0) return {};
  return resultOf(closeDescriptor(std::exchange(descriptor_, -1)));
}

Result<std::int64_t> copyBytes(FileHandle& from, FileHandle& to, std::int64_t count) {
  const CopyOutcome outcome = copyDescriptorBytes(from.descriptor(), to.descriptor(), count);
  if (outcome.errnoValue != 0) return failure(fileError(outcome.errnoValue, outcome.failedOperation));
  return outcome.copied;
}

}  // namespace tovrin
