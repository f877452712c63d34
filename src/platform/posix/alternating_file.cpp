#include "platform/alternating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/replacement.h"
#include "platform/posix/system_calls.h"

namespace tovrin {

namespace {

/// Whether no other name and no other open file leads to this one. If so, nobody can open it until the lease ends.
bool takeForWriting(const FileHandle& file) {
  struct stat status;
  return fstat(file.descriptor(), &status) == 0 && status.st_nlink == 1 && takeWriteLease(file.descriptor());
}

bool isNamed(const FileHandle& file, const std::filesystem::path& path) {
  struct stat own;
  struct stat named;
  return fstat(file.descriptor(), &own) == 0 && lstat(path.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
         own.st_ino == named.st_ino;
}

std::optional<FileIdentity> identityOf(const FileHandle& file) {
  struct stat status;
  if (fstat(file.descriptor(), &status) != 0) return std::nullopt;
  return fileIdentity(status);
}

}  // namespace

Result<void> AlternatingFile::replace(const std::filesystem::path& path, std::span<const std::string_view> pieces) {
  identity_.reset();
  if (path != path_) {
    removeSpare();
    current_.reset();
    path_ = path;
  }
  // Whatever is wrong with a file that took turns for long may not be wrong with a new one.
  const bool isReplaced = spare_ && takeForWriting(*spare_) && putSpareInPlace(pieces) == 0;
  const int error = isReplaced ? 0 : replaceByNew(pieces);
  if (error != 0) return failure(fileError(error, FileOperation::create, path));
  // Not earlier: the swap changed its ctime.
  identity_ = identityOf(*current_);
  return {};
}

bool AlternatingFile::isAt(const std::filesystem::path& path) const {
  if (!identity_ || path != path_) return false;
  const auto there = fileAttributes(path);
  return there && there->identity == *identity_;
}

int AlternatingFile::replaceByNew(std::span<const std::string_view> pieces) {
  removeSpare();
  int error = makeSpare();
  if (error == ENOENT && createDirectories(path_.parent_path())) error = makeSpare();
  if (error != 0) return error;
  error = putSpareInPlace(pieces);
  if (error != 0) removeSpare();
  return error;
}

int AlternatingFile::makeSpare() {
  sparePath_ = hiddenNameBeside(path_);
  FileDescriptor file = createReplacement(sparePath_, modeOfRegularFile(path_));
  if (!file.isOpen()) return errno;
  spare_ = FileHandle::owning(file.release());
  return 0;
}

int AlternatingFile::putSpareInPlace(std::span<const std::string_view> pieces) {
  if (const int error = fillReplacement(spare_->descriptor(), pieces, modeOfRegularFile(path_)); error != 0)
    return error;

  if (exchangeNames(sparePath_, path_) != 0) {
    if (const int error = replaceByRename(sparePath_, path_); error != 0) return error;
    current_ = std::exchange(spare_, std::nullopt);
  } else if (current_ && isNamed(*current_, sparePath_) && takeForWriting(*current_)) {
    // It has the next turn; until then whoever likes may open it.
    endLease(current_->descriptor());
    std::swap(spare_, current_);
  } else if (::unlink(sparePath_.c_str()) == 0) {
    current_ = std::exchange(spare_, std::nullopt);
  } else {
    // What was there is a folder: a rename would have refused.
    const int error = errno;
    exchangeNames(sparePath_, path_);
    return error;
  }
  endLease(current_->descriptor());
  return 0;
}

void AlternatingFile::removeSpare() {
  if (!spare_) return;
  // The name may be another file's by now, if somebody tidied up here.
  if (isNamed(*spare_, sparePath_)) ::unlink(sparePath_.c_str());
  spare_.reset();
}

}  // namespace tovrin
