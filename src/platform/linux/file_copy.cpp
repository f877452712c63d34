#include <linux/fs.h>
#include <sys/ioctl.h>

#include "platform/file_system.h"
#include "platform/posix/copy_steps.h"

namespace tovrin {

Result<void> copyItem(const std::filesystem::path& from, const std::filesystem::path& to, Durability durability) {
  TOVRIN_TRY(const CopySource source, openCopySource(from));
  TOVRIN_TRY(FileDescriptor copy, createCopy(to, source.permissions));
  CopyOutcome outcome;
  if (::ioctl(copy.get(), FICLONE, source.file.get()) != 0) outcome = copyContents(source.file.get(), copy.get());
  return finishCopy(std::move(copy), outcome, from, to, durability);
}

}  // namespace tovrin
