#include "platform/posix/file_error.h"

#include <cerrno>
#include <string>
#include <string_view>

#include "foundation/path.h"

namespace tovrin {

namespace {

constexpr std::int64_t kFileWriteInvalidFileName = 514;

std::int64_t readErrorCode(int errnoValue) {
  switch (errnoValue) {
    case ENOENT:
      return static_cast<std::int64_t>(CocoaErrorCode::fileReadNoSuchFile);
    case EACCES:
    case EPERM:
      return static_cast<std::int64_t>(CocoaErrorCode::fileReadNoPermission);
    case ENAMETOOLONG:
      return static_cast<std::int64_t>(CocoaErrorCode::fileReadInvalidFileName);
    default:
      return static_cast<std::int64_t>(CocoaErrorCode::fileReadUnknown);
  }
}

std::int64_t writeErrorCode(int errnoValue) {
  switch (errnoValue) {
    case ENOENT:
      return static_cast<std::int64_t>(CocoaErrorCode::fileNoSuchFile);
    case EACCES:
    case EPERM:
      return static_cast<std::int64_t>(CocoaErrorCode::fileWriteNoPermission);
    case EEXIST:
      return static_cast<std::int64_t>(CocoaErrorCode::fileWriteFileExists);
    case ENAMETOOLONG:
      return kFileWriteInvalidFileName;
    case ENOSPC:
    case EDQUOT:
      return static_cast<std::int64_t>(CocoaErrorCode::fileWriteOutOfSpace);
    case EROFS:
      return static_cast<std::int64_t>(CocoaErrorCode::fileWriteVolumeReadOnly);
    default:
      return static_cast<std::int64_t>(CocoaErrorCode::fileWriteUnknown);
  }
}

std::int64_t errorCode(int errnoValue, FileOperation operation) {
  return operation == FileOperation::read ? readErrorCode(errnoValue) : writeErrorCode(errnoValue);
}

std::string quoted(std::string_view name) { return "“" + std::string(name) + "”"; }

std::string readSentence(std::int64_t code, const std::string& file) {
  const std::string start = "The file " + file + " couldn’t be opened";
  switch (static_cast<CocoaErrorCode>(code)) {
    case CocoaErrorCode::fileReadNoSuchFile:
      return start + " because there is no such file.";
    case CocoaErrorCode::fileReadNoPermission:
      return start + " because you don’t have permission to view it.";
    case CocoaErrorCode::fileReadInvalidFileName:
      return start + " because the specified name is invalid.";
    default:
      return start + ".";
  }
}

std::string removeSentence(std::int64_t code, const std::string& file) {
  switch (static_cast<CocoaErrorCode>(code)) {
    case CocoaErrorCode::fileWriteNoPermission:
      return file + " couldn’t be removed because you don’t have permission to access it.";
    case CocoaErrorCode::fileWriteVolumeReadOnly:
      return file + " couldn’t be removed because the volume is read only.";
    default:
      return file + " couldn’t be removed.";
  }
}

/// `folder` is empty when the path names none.
std::string writeSentence(std::int64_t code, FileOperation operation, const std::string& file,
                          const std::string& folder) {
  const std::string inFolder = folder.empty() ? "" : " in the folder " + folder;
  const std::string start = "The file " + file + " couldn’t be saved";
  if (code == kFileWriteInvalidFileName) return start + inFolder + " because the file name is invalid.";
  switch (static_cast<CocoaErrorCode>(code)) {
    case CocoaErrorCode::fileNoSuchFile:
      if (operation == FileOperation::create && !folder.empty()) return "The folder " + folder + " doesn’t exist.";
      return "The file " + file + " doesn’t exist.";
    case CocoaErrorCode::fileWriteNoPermission:
      return "You don’t have permission to save the file " + file + inFolder + ".";
    case CocoaErrorCode::fileWriteFileExists:
      return start + inFolder + " because a file with the same name already exists.";
    case CocoaErrorCode::fileWriteOutOfSpace:
      return start + " because there isn’t enough space.";
    case CocoaErrorCode::fileWriteVolumeReadOnly:
      return start + " because the volume is read only.";
    default:
      return start + inFolder + ".";
  }
}

std::string sentence(std::int64_t code, FileOperation operation, std::string_view path) {
  const std::string file = quoted(lastPathComponent(path));
  if (operation == FileOperation::read) return readSentence(code, file);
  if (operation == FileOperation::remove) return removeSentence(code, file);
  const std::string_view parent = deletingLastPathComponent(path);
  return writeSentence(code, operation, file, parent.empty() ? "" : quoted(lastPathComponent(parent)));
}

}  // namespace

NSError fileError(int errnoValue, FileOperation operation, const std::filesystem::path& path) {
  const std::int64_t code = errorCode(errnoValue, operation);
  return {NSCocoaErrorDomain, code, sentence(code, operation, path.native())};
}

NSError fileError(int errnoValue, FileOperation operation) {
  return {NSCocoaErrorDomain, errorCode(errnoValue, operation)};
}

}  // namespace tovrin
