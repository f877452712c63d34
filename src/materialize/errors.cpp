#include "materialize/errors.h"

#include <string>

namespace tovrin {

const NSError& readOnlyError() {
  static const NSError error(NSCocoaErrorDomain, 3328, "Tovrin warped files are read-only from Finder.");
  return error;
}

const NSError& notOnDemandError() {
  static const NSError error(NSCocoaErrorDomain, 262, "Only warped files can be opened on demand.");
  return error;
}

const NSError& notReachableError() {
  static const NSError error(NSCocoaErrorDomain, -1004, "Ombrel Cloud is not reachable for on-demand file download.");
  return error;
}

const NSError& checksumError() {
  static const NSError error(NSCocoaErrorDomain, 259,
                             "The downloaded warped file did not match its manifest checksum.");
  return error;
}

const NSError& restoringError() {
  static const NSError error(
      NSCocoaErrorDomain, 4,
      "This Warp is being restored or removed. Finder kept the local edit; try again after Tovrin finishes.");
  return error;
}

NSError metadataReadError(std::string_view path, int errnoValue) {
  return NSError::posix(errnoValue, "Could not read file metadata for " + std::string(path) + ".");
}

}  // namespace tovrin
