#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/file_system.h"
#include "platform/linux/file_descriptor.h"

namespace tovrin {

namespace {

constexpr std::int64_t kToTheEnd = std::numeric_limits<std::int64_t>::max();

/// Copies the ranges that hold data, so that holes stay holes. Both files are at their start.
CopyOutcome copyData(int from, int to) {
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

CopyOutcome copyContents(int from, int to) {
  if (::ioctl(to, FICLONE, from) == 0) return {};
  return copyData(from, to);
}

int finishCopy(FileDescriptor& file, const std::filesystem::path& path, Durability durability) {
  const bool durable = durability == Durability::durable;
  if (durable) {
    if (const int error = synchronizeDescriptor(file.get()); error != 0) return error;
  }
  if (const int error = file.close(); error != 0) return error;
  return durable ? synchronizeFolderOf(path) : 0;
}

}  // namespace

Result<void> copyItem(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability) {
  const FileDescriptor source = FileDescriptor::open(from, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  struct stat status;
  if (!source.isOpen() || fstat(source.get(), &status) != 0) {
    return failure(fileError(errno, FileOperation::read, from));
  }
  if (!S_ISREG(status.st_mode)) return failure(fileError(EINVAL, FileOperation::read, from));

  // The copy is no more readable than the original.
  FileDescriptor copy = FileDescriptor::open(to, O_WRONLY | O_CREAT | O_EXCL, status.st_mode & 0777);
  if (!copy.isOpen()) return failure(fileError(errno, FileOperation::create, to));

  const CopyOutcome outcome = copyContents(source.get(), copy.get());
  if (outcome.errnoValue != 0) {
    ::unlink(to.c_str());
    const bool readFailed = outcome.failedOperation == FileOperation::read;
    return failure(readFailed ? fileError(outcome.errnoValue, FileOperation::read, from)
                              : fileError(outcome.errnoValue, FileOperation::create, to));
  }
  if (const int error = finishCopy(copy, to, durability); error != 0) {
    ::unlink(to.c_str());
    return failure(fileError(error, FileOperation::create, to));
  }
  return {};
}

Result<std::int64_t> copyBytes(FileHandle& from, FileHandle& to, std::int64_t count) {
  const CopyOutcome outcome = copyDescriptorBytes(from.descriptor(), to.descriptor(), count);
  if (outcome.errnoValue != 0) return failure(fileError(outcome.errnoValue, outcome.failedOperation));
  return outcome.copied;
}

}  // namespace tovrin
