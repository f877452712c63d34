#pragma once

#import <FileProvider/FileProvider.h>

#include <memory>

#include "provider/replicated_extension.h"

NS_ASSUME_NONNULL_BEGIN

/// One container's listing. Calls its observers before it returns, on the caller's thread.
@interface TovrinFileProviderEnumerator : NSObject <NSFileProviderEnumerator> {
 @private
  std::unique_ptr<tovrin::NSFileProviderEnumerator> _core;
}

- (instancetype)initWithCore:(std::unique_ptr<tovrin::NSFileProviderEnumerator>)core NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

@end

NS_ASSUME_NONNULL_END
