#import <FileProvider/FileProvider.h>

// The framework's own objects, as far as the extension and its tests need them.

NSFileProviderItemIdentifier const NSFileProviderRootContainerItemIdentifier =
    @"NSFileProviderRootContainerItemIdentifier";
NSFileProviderItemIdentifier const NSFileProviderWorkingSetContainerItemIdentifier =
    @"NSFileProviderWorkingSetContainerItemIdentifier";
NSFileProviderItemIdentifier const NSFileProviderTrashContainerItemIdentifier =
    @"NSFileProviderTrashContainerItemIdentifier";
NSString* const NSDebugDescriptionErrorKey = @"NSDebugDescription";

@implementation NSFileProviderItemVersion

- (instancetype)initWithContentVersion:(NSData*)contentVersion metadataVersion:(NSData*)metadataVersion {
  self = [super init];
  if (self != nil) {
    _contentVersion = [contentVersion copy];
    _metadataVersion = [metadataVersion copy];
  }
  return self;
}

- (void)dealloc {
  [_contentVersion release];
  [_metadataVersion release];
  [super dealloc];
}

- (NSData*)contentVersion {
  return _contentVersion;
}

- (NSData*)metadataVersion {
  return _metadataVersion;
}

@end

@implementation NSFileProviderRequest

- (BOOL)isSystemRequest {
  return NO;
}

- (BOOL)isFileViewerRequest {
  return YES;
}

@end

@implementation NSFileProviderDomain

- (instancetype)initWithIdentifier:(NSFileProviderDomainIdentifier)identifier displayName:(NSString*)displayName {
  self = [super init];
  if (self != nil) {
    _identifier = [identifier copy];
    _displayName = [displayName copy];
  }
  return self;
}

- (void)dealloc {
  [_identifier release];
  [_displayName release];
  [super dealloc];
}

- (NSFileProviderDomainIdentifier)identifier {
  return _identifier;
}

- (NSString*)displayName {
  return _displayName;
}

@end

// The constant that the framework declares; it can only be made once there are classes.
UTType* dataType __asm__("UTTypeData");

@implementation UTType

+ (void)load {
  dataType = [[UTType alloc] init];
  dataType->_identifier = @"public.data";
}

+ (instancetype)typeWithIdentifier:(NSString*)identifier {
  UTType* type = [[[UTType alloc] init] autorelease];
  type->_identifier = [identifier copy];
  return type;
}

/// Knows two declared types; everything else is dynamic, as on a system without the application that declares it.
+ (instancetype)typeWithFilenameExtension:(NSString*)filenameExtension conformingToType:(UTType*)supertype {
  if (filenameExtension.length == 0 || ![supertype.identifier isEqualToString:@"public.data"]) return nil;
  NSString* const folded = filenameExtension.lowercaseString;
  if ([folded isEqualToString:@"pdf"]) return [self typeWithIdentifier:@"com.adobe.pdf"];
  if ([folded isEqualToString:@"txt"]) return [self typeWithIdentifier:@"public.plain-text"];
  return [self typeWithIdentifier:@"dyn.ah62d4rv4ge80c5"];
}

- (BOOL)isDynamic {
  return [_identifier hasPrefix:@"dyn."];
}

- (void)dealloc {
  [_identifier release];
  [super dealloc];
}

- (NSString*)identifier {
  return _identifier;
}

@end
