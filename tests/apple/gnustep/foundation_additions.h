#pragma once

#import <Foundation/Foundation.h>

// What Foundation has on macOS and Debian's does not; given to every source that is built for it.

extern NSString* const NSDebugDescriptionErrorKey;

@interface NSFileManager (AppGroups)
- (NSURL*)containerURLForSecurityApplicationGroupIdentifier:(NSString*)groupIdentifier;
@end

// Debian's Foundation leaves what is unavailable available.
#undef NS_UNAVAILABLE
#define NS_UNAVAILABLE __attribute__((unavailable))
