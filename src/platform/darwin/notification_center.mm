#include "platform/notification_center.h"

#import <Foundation/Foundation.h>

#include "platform/darwin/values.h"

namespace tovrin {

namespace {

class DistributedNotificationCenter final : public NotificationCenter {
 public:
  void post(const std::string& name) override {
    @autoreleasepool {
      // A sandboxed process that adds anything sends nothing.
      [[NSDistributedNotificationCenter defaultCenter] postNotificationName:toNSString(name)
                                                                     object:nil
                                                                   userInfo:nil
                                                         deliverImmediately:YES];
    }
  }
};

}  // namespace

std::unique_ptr<NotificationCenter> makeDistributedNotificationCenter() {
  return std::make_unique<DistributedNotificationCenter>();
}

}  // namespace tovrin
