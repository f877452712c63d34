#pragma once

#import <Foundation/Foundation.h>

#include <map>
#include <mutex>

#include "platform/posix/pending_transfer.h"

NS_ASSUME_NONNULL_BEGIN

/// Hands what the system's session reports to the transfers that wait for it. Safe to use from any thread.
@interface TovrinURLSessionDelegate : NSObject <NSURLSessionDataDelegate> {
 @private
  std::mutex _lock;  ///< guards what follows
  std::map<NSUInteger, tovrin::PendingTransfer*> _transfers;
}

/// Before the task starts. The transfer lives until its end was reported.
- (void)report:(NSURLSessionTask*)task to:(tovrin::PendingTransfer&)transfer;

@end

NS_ASSUME_NONNULL_END
