#pragma once

#import <FileProvider/FileProvider.h>

#include <memory>

#include "provider/replicated_extension.h"

NS_ASSUME_NONNULL_BEGIN

/// The principal class: the system makes one per domain and calls it from any thread. Everything is handed to the core.
@interface TovrinFileProviderExtension : NSObject <NSFileProviderReplicatedExtension> {
 @private
  std::shared_ptr<tovrin::NSFileProviderReplicatedExtension> _core;
}

- (instancetype)initWithDomain:(NSFileProviderDomain*)domain NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

@end

NS_ASSUME_NONNULL_END
