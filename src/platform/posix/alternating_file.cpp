#include "platform/alternating_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <tuple>
#include <utility>

#include "platform/posix/file_descriptor.h"
#include "platform/posix/replacement.h"
#include "platform/posix/system_calls.h"

namespace tovrin {

namespace {

constexpr mode_t kWaitingMode = 0600;

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

bool hasOtherNames(const FileHandle& file) {
  struct stat status;
  return fstat(file.descriptor(), &status) != 0 || status.st_nlink > 1;
}

int makeEmpty(const FileHandle& file) {
  if (::lseek(file.descriptor(), 0, SEEK_END) == 0) return 0;
  return ::ftruncate(file.descriptor(), 0) == 0 ? 0 : errno;
}

/// File systems that bring data to disk before the names that lead to it do that for new blocks only. And on disk the
/// name may still lead to this very file, as long as the latest swap is not there: emptied, it stays whole until then.
int emptyForNewBlocks(const FileHandle& file, Durability durability) {
  return durability == Durability::disposable ? 0 : makeEmpty(file);
}

bool isFolder(const std::filesystem::path& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Files under hidden names that no process has open: whoever meant to use them is gone.
void removeAbandoned(const std::filesystem::path& folder) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const std::filesystem::path& path = entry->path();
    if (!isHiddenName(path.filename().native())) continue;
    const FileDescriptor file = FileDescriptor::open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    struct stat status;
    const bool isFile = file.isOpen() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
    if (isFile && isOnLocalFileSystem(file.get()) && takeWriteLease(file.get())) ::unlink(path.c_str());
  }
}

std::optional<FileIdentity> identityOf(const FileHandle& file) {
  struct stat status;
  if (fstat(file.descriptor(), &status) != 0) return std::nullopt;
  return fileIdentity(status);
}

}  // namespace

Result<FileIdentity> AlternatingFile::replace(const std::filesystem::path& path,
                                              std::span<const std::string_view> pieces, Durability durability) {
  identity_.reset();
  if (path != path_) {
    removeSpare();
    current_.reset();
    path_ = path;
    removeAbandoned(path.parent_path());
  }
  oldMode_ = modeOfRegularFile(path);
  // Whatever is wrong with a file that took turns for long may not be wrong with a new one.
  int error = replaceBySpare(pieces, durability);
  if (error != 0) error = replaceByNew(pieces, durability);
  if (error == ENOENT) {
    TOVRIN_CHECK(createDirectories(path.parent_path()));
    error = replaceByNew(pieces, durability);
  }
  if (error == 0 && durability == Durability::durable) error = synchronizeFolderOf(path);
  if (error != 0) return failure(fileError(error, FileOperation::create, path));
  // Not earlier: the swap changed its ctime.
  identity_ = identityOf(*current_);
  const bool isInPlace = identity_ && (durability == Durability::disposable || isAt(path));
  if (!isInPlace) return failure(fileError(EIO, FileOperation::create, path));
  return *identity_;
}

void AlternatingFile::emptySpare() {
  if (!spare_ || !takeForWriting(*spare_)) return;
  std::ignore = makeEmpty(*spare_);  // what fails is tried again when it matters
  endLease(spare_->descriptor());
}

bool AlternatingFile::isAt(const std::filesystem::path& path) const {
  if (!identity_ || path != path_) return false;
  const auto there = fileAttributes(path);
  return there && there->identity == *identity_;
}

int AlternatingFile::replaceBySpare(std::span<const std::string_view> pieces, Durability durability) {
  if (!spare_ || !oldMode_ || !takeForWriting(*spare_)) return EAGAIN;
  if (const int error = emptyForNewBlocks(*spare_, durability); error != 0) return error;
  const int error = fillSpare(pieces, durability);
  return error != 0 ? error : putSpareInPlace();
}

int AlternatingFile::replaceByNew(std::span<const std::string_view> pieces, Durability durability) {
  removeSpare();
  sparePath_ = hiddenNameBeside(path_);
  FileDescriptor file = createReplacement(sparePath_, oldMode_);
  if (!file.isOpen()) return errno;
  takesTurns_ = isOnLocalFileSystem(file.get());
  spare_ = FileHandle::owning(file.release());
  int error = fillSpare(pieces, durability);
  if (error == 0) error = putSpareInPlace();
  if (error != 0) removeSpare();
  return error;
}

int AlternatingFile::fillSpare(std::span<const std::string_view> pieces, Durability durability) {
  const int descriptor = spare_->descriptor();
  int error = fillReplacement(descriptor, pieces, oldMode_);
  if (error == 0 && !takesTurns_) error = closeErrorOfWrites(descriptor);
  if (error != 0) return error;
  if (durability == Durability::disposable) return 0;
  if (error = readBack(descriptor, pieces); error != 0) return error;
  return durability == Durability::durable ? synchronizeDescriptor(descriptor) : beginWriteback(descriptor);
}

int AlternatingFile::putSpareInPlace() {
  if (!oldMode_ && isFolder(path_)) return EISDIR;
  if (exchangeNames(sparePath_, path_) != 0) {
    if (const int error = replaceByRename(sparePath_, path_); error != 0) return error;
    current_ = std::exchange(spare_, std::nullopt);
  } else if (current_ && takesTurns_ && isNamed(*current_, sparePath_) && !hasOtherNames(*current_)) {
    // It has the next turn, unless somebody has it open then.
    fchmod(current_->descriptor(), kWaitingMode);
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

Result<void> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
  TOVRIN_CHECK(AlternatingFile().replace(path, std::span(&bytes, 1), Durability::ordinary));
  return {};
}

}  // namespace tovrin
