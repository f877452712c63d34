#pragma once

#include <string_view>

#include "foundation/error.h"

/// The system's own errors, each built once: every call returns the same instance.
namespace tovrin {

/// Creating, deleting and changing metadata (NSCocoaErrorDomain 3328).
const NSError& readOnlyError();
/// A fetch of anything but a file or symbolic link; a symbolic link without a target (NSCocoaErrorDomain 262).
const NSError& notOnDemandError();
/// No worker, or not the answer that is needed (-1004, in NSCocoaErrorDomain on purpose).
const NSError& notReachableError();
/// A rebuilt file is not what its manifest says (NSCocoaErrorDomain 259).
const NSError& checksumError();
/// An edit in a Warp that is being restored or removed (NSCocoaErrorDomain 4).
const NSError& restoringError();

/// Built per item: the metadata of an edited file cannot be read (NSPOSIXErrorDomain, with the errno of the attempt).
NSError metadataReadError(std::string_view path, int errnoValue);

}  // namespace tovrin
