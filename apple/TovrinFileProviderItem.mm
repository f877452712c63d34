#import "TovrinFileProviderItem.h"

#include <utility>

#include "apple/translation/item_version.h"
#include "apple/unimplemented_initializer.h"
#include "platform/darwin/values.h"

@implementation TovrinFileProviderItem

- (instancetype)initWithCore:(tovrin::SharedItem)core {
  self = [super init];
  if (self != nil) _core = std::move(core);
  return self;
}

- (instancetype)init {
  tovrin::unimplementedInitializer("TovrinFileProviderItem");
}

- (tovrin::SharedItem)core {
  return _core;
}

- (NSFileProviderItemIdentifier)itemIdentifier {
  return tovrin::toNSString(_core->itemIdentifier());
}

- (NSFileProviderItemIdentifier)parentItemIdentifier {
  return tovrin::toNSString(_core->parentItemIdentifier());
}

- (NSString*)filename {
  return tovrin::toNSString(_core->filename());
}

- (UTType*)contentType {
  UTType* declared = [UTType typeWithIdentifier:tovrin::toNSString(_core->contentType().identifier())];
  return declared != nil ? declared : UTTypeData;
}

- (nullable NSNumber*)documentSize {
  const std::optional<std::int64_t> size = _core->documentSize();
  return size ? @(*size) : nil;
}

- (nullable NSDate*)creationDate {
  const std::optional<tovrin::Date> date = _core->creationDate();
  return date ? tovrin::toNSDate(*date) : nil;
}

- (nullable NSDate*)contentModificationDate {
  const std::optional<tovrin::Date> date = _core->contentModificationDate();
  return date ? tovrin::toNSDate(*date) : nil;
}

- (NSFileProviderItemCapabilities)capabilities {
  return static_cast<NSFileProviderItemCapabilities>(_core->capabilities());
}

- (NSFileProviderContentPolicy)contentPolicy {
  return static_cast<NSFileProviderContentPolicy>(_core->contentPolicy());
}

- (BOOL)isUploaded {
  return _core->isUploaded();
}

- (NSFileProviderItemVersion*)itemVersion {
  return tovrin::toItemVersion(_core->itemVersion());
}

@end
