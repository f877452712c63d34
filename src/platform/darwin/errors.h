#pragma once

#import <Foundation/Foundation.h>

#include "foundation/error.h"

/// Errors of the core as Foundation has them, and back: domain, code and description.
namespace tovrin {

/// Not owned by the caller. What a decoder adds stands under NSDebugDescriptionErrorKey.
::NSError* _Nonnull toNSError(const NSError& error);
NSError fromNSError(::NSError* _Nonnull error);

}  // namespace tovrin
