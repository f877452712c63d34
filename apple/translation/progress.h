#pragma once

#import <Foundation/Foundation.h>

#include <memory>

#include "foundation/progress.h"

namespace tovrin {

/// Shows the core's progress, from the thread that makes it; cancelling it cancels the core's.
::NSProgress* _Nonnull toNSProgress(const std::shared_ptr<NSProgress>& progress);

}  // namespace tovrin
