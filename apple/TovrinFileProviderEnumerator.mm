#import "TovrinFileProviderEnumerator.h"

#include <utility>

#include "apple/translation/observers.h"
#include "apple/unimplemented_initializer.h"
#include "platform/darwin/values.h"

@implementation TovrinFileProviderEnumerator

- (instancetype)initWithCore:(std::unique_ptr<tovrin::NSFileProviderEnumerator>)core {
  self = [super init];
  if (self != nil) _core = std::move(core);
  return self;
}

- (instancetype)init {
  tovrin::unimplementedInitializer("TovrinFileProviderEnumerator");
}

- (void)invalidate {
  _core->invalidate();
}

- (void)enumerateItemsForObserver:(id<NSFileProviderEnumerationObserver>)observer
                   startingAtPage:(NSFileProviderPage)page {
  @autoreleasepool {
    tovrin::EnumerationObserver items(observer);
    _core->enumerateItems(items, tovrin::toBytes(page));
  }
}

- (void)enumerateChangesForObserver:(id<NSFileProviderChangeObserver>)observer
                     fromSyncAnchor:(NSFileProviderSyncAnchor)syncAnchor {
  @autoreleasepool {
    tovrin::ChangeObserver changes(observer);
    _core->enumerateChanges(changes, tovrin::toBytes(syncAnchor));
  }
}

- (void)currentSyncAnchorWithCompletionHandler:
    (void (^)(NSFileProviderSyncAnchor _Nullable currentAnchor))completionHandler {
  @autoreleasepool {
    _core->currentSyncAnchor(
        [&](const tovrin::NSFileProviderSyncAnchor& anchor) { completionHandler(tovrin::toNSData(anchor)); });
  }
}

@end
