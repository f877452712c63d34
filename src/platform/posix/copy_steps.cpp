#include "platform/posix/copy_steps.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace tovrin {

namespace {

constexpr std::int64_t kToTheEnd = std::numeric_limits<std::int64_t>::max();

int closeCopy(FileDescriptor& copy, const std::filesystem::path& path, Durability durability) {
  const bool durable = durability == Durability::durable;
  if (durable) {
    if (const int error = synchronizeDescriptor(copy.get()); error != 0) return error;
  }
  if (const int error = copy.close(); error != 0) return error;
  return durable ? synchronizeFolderOf(path) : 0;
}

}  // namespace

Result<CopySource> openCopySource(const std::filesystem::path& from) {
  FileDescriptor file = FileDescriptor::open(from, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status;
  if (!file.isOpen() || fstat(file.get(), &status) != 0) return failure(fileError(errno, FileOperation::read, from));
  if (!S_ISREG(status.st_mode)) return failure(fileError(EINVAL, FileOperation::read, from));
  return CopySource{std::move(file), static_cast<mode_t>(status.st_mode & 0777)};
}

Result<FileDescriptor> createCopy(const std::filesystem::path& to, mode_t permissions) {
  FileDescriptor copy = FileDescriptor::open(to, O_WRONLY | O_CREAT | O_EXCL, permissions);
  if (!copy.isOpen()) return failure(fileError(errno, FileOperation::create, to));
  return copy;
}

CopyOutcome copyContents(int from, int to) {
  const off_t size = ::lseek(from, 0, SEEK_END);
  off_t data = size > 0 ? ::lseek(from, 0, SEEK_DATA) : -1;
  const bool onlyHoles = size > 0 && data < 0 && errno == ENXIO;
  if (data < 0 && !onlyHoles) {  // no size or no holes known: read what comes
    ::lseek(from, 0, SEEK_SET);
    return copyDescriptorBytes(from, to, kToTheEnd);
  }

  CopyOutcome outcome;
  while (data >= 0 && data < size) {
    const off_t hole = ::lseek(from, data, SEEK_HOLE);
    if (hole < 0) return {0, errno, FileOperation::read};
    if (::lseek(from, data, SEEK_SET) < 0 || ::lseek(to, data, SEEK_SET) < 0) return {0, errno, FileOperation::read};
    outcome = copyDescriptorBytes(from, to, hole - data);
    if (outcome.errnoValue != 0) return outcome;
    // A file that shrinks meanwhile must not be filled up with zeros: they would be taken for its contents.
    if (::lseek(from, 0, SEEK_CUR) != hole) return {0, EIO, FileOperation::read};
    data = ::lseek(from, hole, SEEK_DATA);
    if (data < 0 && errno != ENXIO) return {0, errno, FileOperation::read};
  }
  if (::ftruncate(to, size) != 0) return {0, errno, FileOperation::update};
  return outcome;
}

Result<void> finishCopy(FileDescriptor copy, const CopyOutcome& outcome, const std::filesystem::path& from,
                        const std::filesystem::path& to, Durability durability) {
  const bool readFailed = outcome.errnoValue != 0 && outcome.failedOperation == FileOperation::read;
  const int error = outcome.errnoValue != 0 ? outcome.errnoValue : closeCopy(copy, to, durability);
  if (error == 0) return {};
  ::unlink(to.c_str());
  return failure(readFailed ? fileError(error, FileOperation::read, from)
                            : fileError(error, FileOperation::create, to));
}

}  // namespace tovrin
