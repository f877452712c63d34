#import "TovrinFileProviderExtension.h"

#import "TovrinFileProviderEnumerator.h"
#include "apple/extension_process.h"
#include "apple/translation/completions.h"
#include "apple/translation/item_version.h"
#include "apple/translation/items.h"
#include "apple/translation/progress.h"
#include "apple/unimplemented_initializer.h"
#include "platform/darwin/retained.h"
#include "platform/darwin/values.h"

@implementation TovrinFileProviderExtension

- (instancetype)initWithDomain:(NSFileProviderDomain*)domain {
  self = [super init];
  if (self != nil) _core = tovrin::makeExtension(domain);
  return self;
}

- (instancetype)init {
  tovrin::unimplementedInitializer("TovrinFileProviderExtension");
}

- (void)invalidate {
  _core->invalidate();
}

- (NSProgress*)itemForIdentifier:(NSFileProviderItemIdentifier)identifier
                         request:(NSFileProviderRequest*)request
               completionHandler:(void (^)(NSFileProviderItem _Nullable, NSError* _Nullable))completionHandler {
  return tovrin::toNSProgress(
      _core->itemForIdentifier(tovrin::toText(identifier), tovrin::itemCompletion(completionHandler)));
}

- (id<NSFileProviderEnumerator>)enumeratorForContainerItemIdentifier:
                                    (NSFileProviderItemIdentifier)containerItemIdentifier
                                                             request:(NSFileProviderRequest*)request
                                                               error:(NSError**)error {
  return tovrin::autoreleased([[TovrinFileProviderEnumerator alloc]
      initWithCore:_core->enumeratorForContainerItemIdentifier(tovrin::toText(containerItemIdentifier))]);
}

- (NSProgress*)fetchContentsForItemWithIdentifier:(NSFileProviderItemIdentifier)itemIdentifier
                                          version:(nullable NSFileProviderItemVersion*)requestedVersion
                                          request:(NSFileProviderRequest*)request
                                completionHandler:(void (^)(NSURL* _Nullable, NSFileProviderItem _Nullable,
                                                            NSError* _Nullable))completionHandler {
  return tovrin::toNSProgress(_core->fetchContentsForItemWithIdentifier(
      tovrin::toText(itemIdentifier), tovrin::fromOptionalItemVersion(requestedVersion),
      tovrin::fetchCompletion(completionHandler)));
}

- (NSProgress*)createItemBasedOnTemplate:(NSFileProviderItem)itemTemplate
                                  fields:(NSFileProviderItemFields)fields
                                contents:(nullable NSURL*)url
                                 options:(NSFileProviderCreateItemOptions)options
                                 request:(NSFileProviderRequest*)request
                       completionHandler:(void (^)(NSFileProviderItem _Nullable, NSFileProviderItemFields, BOOL,
                                                   NSError* _Nullable))completionHandler {
  return tovrin::toNSProgress(_core->createItemBasedOnTemplate(
      *tovrin::fromNSFileProviderItem(itemTemplate), static_cast<tovrin::NSFileProviderItemFields>(fields),
      tovrin::toPath(url), tovrin::modifyCompletion(completionHandler)));
}

- (NSProgress*)modifyItem:(NSFileProviderItem)item
              baseVersion:(NSFileProviderItemVersion*)version
            changedFields:(NSFileProviderItemFields)changedFields
                 contents:(nullable NSURL*)newContents
                  options:(NSFileProviderModifyItemOptions)options
                  request:(NSFileProviderRequest*)request
        completionHandler:(void (^)(NSFileProviderItem _Nullable, NSFileProviderItemFields, BOOL,
                                    NSError* _Nullable))completionHandler {
  return tovrin::toNSProgress(_core->modifyItem(tovrin::fromNSFileProviderItem(item), tovrin::fromItemVersion(version),
                                                static_cast<tovrin::NSFileProviderItemFields>(changedFields),
                                                tovrin::toPath(newContents),
                                                tovrin::modifyCompletion(completionHandler)));
}

- (NSProgress*)deleteItemWithIdentifier:(NSFileProviderItemIdentifier)identifier
                            baseVersion:(NSFileProviderItemVersion*)version
                                options:(NSFileProviderDeleteItemOptions)options
                                request:(NSFileProviderRequest*)request
                      completionHandler:(void (^)(NSError* _Nullable))completionHandler {
  return tovrin::toNSProgress(_core->deleteItemWithIdentifier(
      tovrin::toText(identifier), tovrin::fromItemVersion(version), tovrin::deleteCompletion(completionHandler)));
}

@end
