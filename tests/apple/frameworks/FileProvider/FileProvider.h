#pragma once

#import <Foundation/Foundation.h>
#import <UniformTypeIdentifiers/UniformTypeIdentifiers.h>

// What is used of the system's framework, declared for the tests of systems that lack it.

NS_ASSUME_NONNULL_BEGIN

typedef NSString* NSFileProviderItemIdentifier;
typedef NSString* NSFileProviderDomainIdentifier;
typedef NSData* NSFileProviderSyncAnchor;
typedef NSData* NSFileProviderPage;

extern NSFileProviderItemIdentifier const NSFileProviderRootContainerItemIdentifier;
extern NSFileProviderItemIdentifier const NSFileProviderWorkingSetContainerItemIdentifier;
extern NSFileProviderItemIdentifier const NSFileProviderTrashContainerItemIdentifier;
extern NSFileProviderPage const NSFileProviderInitialPageSortedByName;

typedef NS_OPTIONS(NSUInteger, NSFileProviderItemCapabilities) {
  NSFileProviderItemCapabilitiesAllowsReading = 1,
  NSFileProviderItemCapabilitiesAllowsWriting = 2,
};

typedef NS_OPTIONS(NSUInteger, NSFileProviderItemFields) {
  NSFileProviderItemContents = 1,
  NSFileProviderItemFilename = 2,
  NSFileProviderItemParentItemIdentifier = 4,
  NSFileProviderItemContentModificationDate = 128,
};

typedef NS_ENUM(NSInteger, NSFileProviderContentPolicy) {
  NSFileProviderContentPolicyInherited = 0,
  NSFileProviderContentPolicyDownloadLazily = 1,
} API_AVAILABLE(macos(13.0));

typedef NS_OPTIONS(NSUInteger, NSFileProviderCreateItemOptions) { NSFileProviderCreateItemMayAlreadyExist = 1 };
typedef NS_OPTIONS(NSUInteger, NSFileProviderModifyItemOptions) { NSFileProviderModifyItemMayAlreadyExist = 1 };
typedef NS_OPTIONS(NSUInteger, NSFileProviderDeleteItemOptions) { NSFileProviderDeleteItemRecursive = 1 };

API_AVAILABLE(macos(11.0))
@interface NSFileProviderItemVersion : NSObject {
 @private
  NSData* _contentVersion;
  NSData* _metadataVersion;
}
@property(nonatomic, readonly) NSData* contentVersion;
@property(nonatomic, readonly) NSData* metadataVersion;
- (instancetype)initWithContentVersion:(NSData*)contentVersion metadataVersion:(NSData*)metadataVersion;
@end

@protocol NSFileProviderItem <NSObject>
@property(nonatomic, readonly, copy) NSFileProviderItemIdentifier itemIdentifier;
@property(nonatomic, readonly, copy) NSFileProviderItemIdentifier parentItemIdentifier;
@property(nonatomic, readonly, copy) NSString* filename;
@optional
@property(nonatomic, readonly, copy) UTType* contentType API_AVAILABLE(macos(11.0));
@property(nonatomic, readonly, copy, nullable) NSNumber* documentSize;
@property(nonatomic, readonly, copy, nullable) NSDate* creationDate;
@property(nonatomic, readonly, copy, nullable) NSDate* contentModificationDate;
@property(nonatomic, readonly) NSFileProviderItemCapabilities capabilities;
@property(nonatomic, readonly) NSFileProviderContentPolicy contentPolicy API_AVAILABLE(macos(13.0));
@property(nonatomic, readonly, getter=isUploaded) BOOL uploaded;
@property(nonatomic, readonly, strong) NSFileProviderItemVersion* itemVersion API_AVAILABLE(macos(11.0));
@end
typedef id<NSFileProviderItem> NSFileProviderItem;

@protocol NSFileProviderEnumerationObserver <NSObject>
- (void)didEnumerateItems:(NSArray<id<NSFileProviderItem>>*)updatedItems;
- (void)finishEnumeratingUpToPage:(nullable NSFileProviderPage)nextPage;
- (void)finishEnumeratingWithError:(NSError*)error;
@optional
@property(nonatomic, readonly) NSInteger suggestedPageSize API_AVAILABLE(macos(11.0));
@end

@protocol NSFileProviderChangeObserver <NSObject>
- (void)didUpdateItems:(NSArray<id<NSFileProviderItem>>*)updatedItems;
- (void)didDeleteItemsWithIdentifiers:(NSArray<NSFileProviderItemIdentifier>*)deletedItemIdentifiers;
- (void)finishEnumeratingChangesUpToSyncAnchor:(NSFileProviderSyncAnchor)anchor moreComing:(BOOL)moreComing;
- (void)finishEnumeratingWithError:(NSError*)error;
@optional
@property(nonatomic, readonly) NSInteger suggestedBatchSize API_AVAILABLE(macos(11.0));
@end

@protocol NSFileProviderEnumerator <NSObject>
- (void)invalidate;
- (void)enumerateItemsForObserver:(id<NSFileProviderEnumerationObserver>)observer
                   startingAtPage:(NSFileProviderPage)page;
@optional
- (void)enumerateChangesForObserver:(id<NSFileProviderChangeObserver>)observer
                     fromSyncAnchor:(NSFileProviderSyncAnchor)syncAnchor;
- (void)currentSyncAnchorWithCompletionHandler:
    (void (^)(_Nullable NSFileProviderSyncAnchor currentAnchor))completionHandler;
@end

API_AVAILABLE(macos(11.0))
@interface NSFileProviderRequest : NSObject
@property(nonatomic, readonly) BOOL isSystemRequest;
@property(nonatomic, readonly) BOOL isFileViewerRequest;
@end

API_AVAILABLE(macos(11.0))
@interface NSFileProviderDomain : NSObject {
 @private
  NSString* _identifier;
  NSString* _displayName;
}
@property(readonly, copy) NSFileProviderDomainIdentifier identifier;
@property(readonly, copy) NSString* displayName;
- (instancetype)initWithIdentifier:(NSFileProviderDomainIdentifier)identifier displayName:(NSString*)displayName;
@end

API_AVAILABLE(macos(11.0))
@interface NSFileProviderManager : NSObject
- (instancetype)init NS_UNAVAILABLE;
+ (nullable instancetype)managerForDomain:(NSFileProviderDomain*)domain;
- (nullable NSURL*)temporaryDirectoryURLWithError:(NSError**)error;
@end

@protocol NSFileProviderEnumerating <NSObject>
- (nullable id<NSFileProviderEnumerator>)enumeratorForContainerItemIdentifier:
                                             (NSFileProviderItemIdentifier)containerItemIdentifier
                                                                      request:(NSFileProviderRequest*)request
                                                                        error:(NSError**)error
    API_AVAILABLE(macos(11.0));
@end

API_AVAILABLE(macos(11.0))
@protocol NSFileProviderReplicatedExtension <NSObject, NSFileProviderEnumerating>
- (instancetype)initWithDomain:(NSFileProviderDomain*)domain;
- (void)invalidate;
- (NSProgress*)itemForIdentifier:(NSFileProviderItemIdentifier)identifier
                         request:(NSFileProviderRequest*)request
               completionHandler:(void (^)(NSFileProviderItem _Nullable, NSError* _Nullable))completionHandler;
- (NSProgress*)fetchContentsForItemWithIdentifier:(NSFileProviderItemIdentifier)itemIdentifier
                                          version:(nullable NSFileProviderItemVersion*)requestedVersion
                                          request:(NSFileProviderRequest*)request
                                completionHandler:(void (^)(NSURL* _Nullable, NSFileProviderItem _Nullable,
                                                            NSError* _Nullable))completionHandler;
- (NSProgress*)createItemBasedOnTemplate:(NSFileProviderItem)itemTemplate
                                  fields:(NSFileProviderItemFields)fields
                                contents:(nullable NSURL*)url
                                 options:(NSFileProviderCreateItemOptions)options
                                 request:(NSFileProviderRequest*)request
                       completionHandler:(void (^)(NSFileProviderItem _Nullable, NSFileProviderItemFields, BOOL,
                                                   NSError* _Nullable))completionHandler;
- (NSProgress*)modifyItem:(NSFileProviderItem)item
              baseVersion:(NSFileProviderItemVersion*)version
            changedFields:(NSFileProviderItemFields)changedFields
                 contents:(nullable NSURL*)newContents
                  options:(NSFileProviderModifyItemOptions)options
                  request:(NSFileProviderRequest*)request
        completionHandler:(void (^)(NSFileProviderItem _Nullable, NSFileProviderItemFields, BOOL,
                                    NSError* _Nullable))completionHandler;
- (NSProgress*)deleteItemWithIdentifier:(NSFileProviderItemIdentifier)identifier
                            baseVersion:(NSFileProviderItemVersion*)version
                                options:(NSFileProviderDeleteItemOptions)options
                                request:(NSFileProviderRequest*)request
                      completionHandler:(void (^)(NSError* _Nullable))completionHandler;
@end

NS_ASSUME_NONNULL_END
