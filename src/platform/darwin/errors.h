#pragma once

#import <Foundation/Foundation.h>

#include <optional>

#include "foundation/error.h"

/// Errors of the core as Foundation has them, and back: domain, code and description.
namespace tovrin {

/// Not owned by the caller. What a decoder adds stands under NSDebugDescriptionErrorKey.
::NSError* _Nonnull toNSError(const NSError& error);
/// Nothing of nil.
std::optional<NSError> fromNSError(::NSError* _Nullable error);

}  // namespace tovrin
