#include "cli/disposable_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <tuple>

#include "cli/target.h"
#include "foundation/uuid.h"
#include "platform/file_system.h"
#include "platform/posix/file_error.h"
#include "platform/posix/timestamps.h"

namespace tovrin::cli {

namespace {

/// How much is copied between two looks at whether the user still wants it.
constexpr std::int64_t kCopyChunkBytes = std::int64_t{32} << 20;

Result<void> copyRange(FileHandle& from, FileHandle& to, std::int64_t count, const InterruptWatch& interruption) {
  while (count > 0) {
    if (interruption.requested()) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    TOVRIN_TRY(const std::int64_t copied, copyBytes(from, to, std::min(count, kCopyChunkBytes)));
    if (copied == 0) return {};
    count -= copied;
  }
  return {};
}

/// Only the ranges that hold data.
Result<void> copySparse(FileHandle& from, FileHandle& to, const InterruptWatch& interruption) {
  const off_t size = lseek(from.descriptor(), 0, SEEK_END);
  off_t data = lseek(from.descriptor(), 0, SEEK_DATA);
  while (data >= 0 && data < size) {
    const off_t hole = lseek(from.descriptor(), data, SEEK_HOLE);
    TOVRIN_CHECK(from.seek(data));
    TOVRIN_CHECK(to.seek(data));
    TOVRIN_CHECK(copyRange(from, to, (hole < 0 ? size : hole) - data, interruption));
    data = hole < 0 ? size : lseek(from.descriptor(), hole, SEEK_DATA);
  }
  return to.truncate(size);
}

/// The same contents, permissions and modification time on another file system.
Result<void> copyFile(const std::filesystem::path& from, const std::filesystem::path& to,
                      const InterruptWatch& interruption) {
  TOVRIN_TRY(FileHandle source, FileHandle::forReading(from));
  TOVRIN_TRY(FileHandle copy, FileHandle::forWriting(to));
  TOVRIN_CHECK(copySparse(source, copy, interruption));
  struct stat status{};
  if (fstat(source.descriptor(), &status) != 0) return failure(fileError(errno, FileOperation::read, from));
  const std::array times{timespec{0, UTIME_OMIT}, status.st_mtim};
  if (fchmod(copy.descriptor(), status.st_mode & 0777) != 0)
    return failure(fileError(errno, FileOperation::update, to));
  futimens(copy.descriptor(), times.data());
  return copy.close();
}

Result<void> writeInto(const std::filesystem::path& from, const std::filesystem::path& device,
                       const InterruptWatch& interruption) {
  TOVRIN_TRY(FileHandle source, FileHandle::forReading(from));
  TOVRIN_TRY(FileHandle sink, FileHandle::forWriting(device));
  TOVRIN_TRY(const FileAttributes attributes, fileAttributes(from));
  TOVRIN_CHECK(copyRange(source, sink, attributes.identity.size, interruption));
  return sink.close();
}

Result<void> renameOver(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (rename(from.c_str(), to.c_str()) != 0) return failure(fileError(errno, FileOperation::create, to));
  return {};
}

NSError streamError() {
  return {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileWriteUnknown),
          "The target is a device, pipe or socket, not a file."};
}

/// A name in the target's folder that nobody has.
std::filesystem::path temporaryName(const std::filesystem::path& target) {
  return target.parent_path() / (".tovrin-" + makeUUIDString());
}

}  // namespace

DisposableFile::~DisposableFile() {
  std::ignore = unlink(file_.c_str());  // a leftover is swept by the system
}

void DisposableFile::takeOn(const TovrinWarpSharedEntry& entry) const {
  if (entry.kind == TovrinWarpSharedEntryKind::file) {
    // Not the bits that lend rights: the file belongs to whoever fetches it.
    std::ignore = chmod(file_.c_str(), entry.posixPermissions & 0777);
  }
  if (entry.modificationTimeNanoseconds == 0) return;  // it is not known
  const std::array times{timespec{0, UTIME_OMIT}, systemTimeOf(entry.modificationTimeNanoseconds)};
  std::ignore = utimensat(AT_FDCWD, file_.c_str(), times.data(), AT_SYMLINK_NOFOLLOW);
}

Result<void> DisposableFile::placeAt(const std::filesystem::path& path, const InterruptWatch& interruption) const {
  TOVRIN_TRY(const FileAttributes delivered, fileAttributes(file_));
  const bool isLink = delivered.type == FileType::symbolicLink;
  TOVRIN_TRY(const Target target, resolveTarget(path, isLink ? Delivery::symbolicLink : Delivery::file));
  if (target.isStream) return writeInto(file_, target.path, interruption);
  if (rename(file_.c_str(), target.path.c_str()) == 0) return {};
  if (errno != EXDEV) return failure(fileError(errno, FileOperation::create, target.path));
  if (isLink) {
    std::error_code error;
    const std::filesystem::path pointsTo = std::filesystem::read_symlink(file_, error);
    if (error) return failure(fileError(error.value(), FileOperation::read, file_));
    const DisposableFile link(temporaryName(target.path));
    TOVRIN_CHECK(createSymbolicLink(link.path(), pointsTo.string()));
    return renameOver(link.path(), target.path);
  }
  return makeFile(target.path, [&](const std::filesystem::path& file) { return copyFile(file_, file, interruption); });
}

Result<void> makeFile(const std::filesystem::path& path,
                      const std::function<Result<void>(const std::filesystem::path& file)>& write) {
  TOVRIN_TRY(const Target target, resolveTarget(path, Delivery::file));
  if (target.isStream) return failure(streamError());
  const DisposableFile file(temporaryName(target.path));
  const int descriptor = open(file.path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) return failure(fileError(errno, FileOperation::create, target.path));
  close(descriptor);
  TOVRIN_CHECK(write(file.path()));
  return renameOver(file.path(), target.path);
}

}  // namespace tovrin::cli
