#include <fcntl.h>
#include <sys/clonefile.h>
#include <unistd.h>

#include "platform/file_system.h"
#include "platform/posix/copy_steps.h"

namespace tovrin {

namespace {

/// What a clone has left to do: an outcome without bytes of its own.
Result<void> finishClone(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability) {
  FileDescriptor copy = FileDescriptor::open(to, O_RDONLY | O_NOFOLLOW);
  if (!copy.isOpen()) {
    const int error = errno;
    ::unlink(to.c_str());
    return failure(fileError(error, FileOperation::create, to));
  }
  return finishCopy(std::move(copy), {}, from, to, durability);
}

}  // namespace

Result<void> copyItem(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability) {
  TOVRIN_TRY(const CopySource source, openCopySource(from));
  if (fclonefileat(source.file.get(), AT_FDCWD, to.c_str(), CLONE_NOOWNERCOPY) == 0)
    return finishClone(from, to, durability);
  TOVRIN_TRY(FileDescriptor copy, createCopy(to, source.permissions));
  const CopyOutcome outcome = copyContents(source.file.get(), copy.get());
  return finishCopy(std::move(copy), outcome, from, to, durability);
}

}  // namespace tovrin
