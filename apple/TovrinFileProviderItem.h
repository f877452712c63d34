#pragma once

#import <FileProvider/FileProvider.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

#include "provider/item.h"

NS_ASSUME_NONNULL_BEGIN

/// One folder or file as the system sees it: a core item in the system's types. Safe to read from any thread.
@interface TovrinFileProviderItem : NSObject <NSFileProviderItem> {
 @private
  tovrin::SharedItem _core;
}

@property(nonatomic, readonly, copy) NSFileProviderItemIdentifier itemIdentifier;
@property(nonatomic, readonly, copy) NSFileProviderItemIdentifier parentItemIdentifier;
@property(nonatomic, readonly, copy) NSString* filename;
@property(nonatomic, readonly, copy) UTType* contentType;
@property(nonatomic, readonly, copy, nullable) NSNumber* documentSize;
@property(nonatomic, readonly, copy, nullable) NSDate* creationDate;
@property(nonatomic, readonly, copy, nullable) NSDate* contentModificationDate;
@property(nonatomic, readonly) NSFileProviderItemCapabilities capabilities;
@property(nonatomic, readonly) NSFileProviderContentPolicy contentPolicy API_AVAILABLE(macos(13.0));
@property(nonatomic, readonly, getter=isUploaded) BOOL uploaded;
@property(nonatomic, readonly, strong) NSFileProviderItemVersion* itemVersion;

/// `core` is not null.
- (instancetype)initWithCore:(tovrin::SharedItem)core NS_DESIGNATED_INITIALIZER;
- (instancetype)init NS_UNAVAILABLE;

- (tovrin::SharedItem)core;

@end

NS_ASSUME_NONNULL_END
