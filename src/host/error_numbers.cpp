#include "host/error_numbers.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

namespace tovrin::host {

namespace {

/// Codes that NSCocoaErrorDomain has and this system makes without a name: a worker that is not reachable, and a name
/// that cannot be written.
constexpr std::int64_t kNotReachable = -1004;
constexpr std::int64_t kFileWriteInvalidFileName = 514;
/// A lock that another process keeps; the same number on every system, on Linux no file's own error.
constexpr std::int64_t kLockIsBusy = 60;
/// Codes of NSURLErrorDomain that only other systems make.
constexpr std::int64_t kDNSLookupFailed = -1006;
constexpr std::int64_t kNotConnectedToInternet = -1009;

int cocoaNumber(std::int64_t code, Operation operation) {
  if (code == kNotReachable) return EHOSTUNREACH;
  if (code == kFileWriteInvalidFileName) return ENAMETOOLONG;
  switch (static_cast<CocoaErrorCode>(code)) {
    case CocoaErrorCode::fileNoSuchFile:
      return operation == Operation::open ? ESTALE : EBUSY;
    case CocoaErrorCode::fileReadNoSuchFile:
      // At opening it is where the worker is that nobody has said: the file itself must not be taken for deleted.
      return operation == Operation::open ? EHOSTUNREACH : ENOENT;
    case CocoaErrorCode::fileReadNoPermission:
    case CocoaErrorCode::fileWriteNoPermission:
      return EACCES;
    case CocoaErrorCode::fileReadInvalidFileName:
      return ENAMETOOLONG;
    case CocoaErrorCode::fileReadUnsupportedScheme:
      return EINVAL;
    case CocoaErrorCode::fileWriteFileExists:
      return EEXIST;
    case CocoaErrorCode::fileWriteOutOfSpace:
      return ENOSPC;
    case CocoaErrorCode::fileWriteVolumeReadOnly:
    case CocoaErrorCode::featureUnsupported:
      return EROFS;
    case CocoaErrorCode::userCancelled:
      return EINTR;
    case CocoaErrorCode::fileReadUnknown:
    case CocoaErrorCode::fileReadCorruptFile:
    case CocoaErrorCode::fileWriteUnknown:
    case CocoaErrorCode::propertyListReadCorrupt:
    case CocoaErrorCode::coderReadCorrupt:
    case CocoaErrorCode::coderValueNotFound:
    case CocoaErrorCode::coderInvalidValue:
      return EIO;
  }
  return EIO;
}

/// A server that is not there is unreachable, whatever kept the bytes from arriving; one that is there and talks
/// nonsense broke the protocol.
int urlNumber(std::int64_t code) {
  if (code == kDNSLookupFailed || code == kNotConnectedToInternet) return EHOSTUNREACH;
  switch (static_cast<URLErrorCode>(code)) {
    case URLErrorCode::cancelled:
      return EINTR;
    case URLErrorCode::timedOut:
      return ETIMEDOUT;
    case URLErrorCode::unknown:
    case URLErrorCode::badURL:
    case URLErrorCode::cannotFindHost:
    case URLErrorCode::cannotConnectToHost:
    case URLErrorCode::networkConnectionLost:
    case URLErrorCode::resourceUnavailable:
      return EHOSTUNREACH;
    case URLErrorCode::httpTooManyRedirects:
    case URLErrorCode::badServerResponse:
      return EPROTO;
    case URLErrorCode::cannotWriteToFile:
      return EIO;
  }
  return EIO;
}

int posixNumber(std::int64_t code) {
  if (code == kLockIsBusy) return EBUSY;
  // EAGAIN makes programs try again at once, for ever.
  if (code == EAGAIN) return EBUSY;
  // The kernel's own numbers, from 512 on, must not reach a program.
  const bool fits = code > 0 && code <= std::numeric_limits<int>::max();
  return fits && strerrorname_np(static_cast<int>(code)) != nullptr ? static_cast<int>(code) : EIO;
}

}  // namespace

int errorNumber(const NSError& error, Operation operation) {
  if (error.domain() == NSCocoaErrorDomain) return cocoaNumber(error.code(), operation);
  if (error.domain() == NSURLErrorDomain) return urlNumber(error.code());
  if (error.domain() == NSPOSIXErrorDomain) return posixNumber(error.code());
  return EIO;
}

}  // namespace tovrin::host
