#pragma once

#import <Foundation/Foundation.h>

// What is used of the system's framework, declared for the tests of systems that lack it.

#ifndef API_AVAILABLE
#define API_AVAILABLE(...)
#endif

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(11.0))
@interface UTType : NSObject {
 @private
  NSString* _identifier;
}
@property(readonly) NSString* identifier;
@property(readonly, getter=isDynamic) BOOL dynamic;
+ (nullable instancetype)typeWithIdentifier:(NSString*)identifier;
+ (nullable instancetype)typeWithFilenameExtension:(NSString*)filenameExtension conformingToType:(UTType*)supertype;
@end

extern UTType* const UTTypeData API_AVAILABLE(macos(11.0));

NS_ASSUME_NONNULL_END
