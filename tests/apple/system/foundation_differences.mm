#import <FileProvider/FileProvider.h>
#import <objc/runtime.h>

#include <map>
#include <mutex>

#include "platform/darwin/retained.h"

// Debian's NSProgress stores its cancellation handler without copying or keeping it, and does not call one that comes
// after the cancellation. macOS does both, and the extension relies on it; so it is made to here.

namespace {

using Handler = void (^)();

std::mutex lock;

std::map<const void*, tovrin::Retained<Handler>>& handlers() {
  static std::map<const void*, tovrin::Retained<Handler>> kept;
  return kept;
}

void exchange(SEL original, SEL replacement) {
  method_exchangeImplementations(class_getInstanceMethod([NSProgress class], original),
                                 class_getInstanceMethod([NSProgress class], replacement));
}

}  // namespace

@interface NSProgress (KeepsItsHandler)
@end

@implementation NSProgress (KeepsItsHandler)

+ (void)load {
  exchange(@selector(setCancellationHandler:), @selector(keepCancellationHandler:));
  exchange(@selector(dealloc), @selector(letGoAndDealloc));
}

// Each calls the method that it was exchanged with under its own name.

- (void)keepCancellationHandler:(Handler)handler {
  const tovrin::Retained<Handler> kept(handler);
  {
    const std::lock_guard hold(lock);
    handlers()[self] = kept;
  }
  [self keepCancellationHandler:kept.get()];
  if (self.isCancelled && handler != nil) handler();
}

- (void)letGoAndDealloc {
  tovrin::Retained<Handler> kept;
  {
    const std::lock_guard hold(lock);
    std::swap(kept, handlers()[self]);
    handlers().erase(self);
  }
  [self letGoAndDealloc];
}

@end
