#include "system/served_directories.h"

#import <FileProvider/FileProvider.h>

#include "platform/darwin/errors.h"
#include "platform/darwin/values.h"

namespace tovrin {

namespace {

const TestDirectories* served = nullptr;

}  // namespace

ServedDirectories::ServedDirectories(const TestDirectories& directories) { served = &directories; }
ServedDirectories::~ServedDirectories() { served = nullptr; }

const TestDirectories* servedDirectories() { return served; }

}  // namespace tovrin

@implementation NSFileManager (AppGroups)

- (NSURL*)containerURLForSecurityApplicationGroupIdentifier:(NSString*)groupIdentifier {
  const tovrin::TestDirectories* directories = tovrin::servedDirectories();
  if (directories == nullptr || !directories->container || ![groupIdentifier isEqualToString:@TOVRIN_APP_GROUP])
    return nil;
  return tovrin::toFileURL(*directories->container);
}

@end

@implementation NSFileProviderManager

+ (instancetype)managerForDomain:(NSFileProviderDomain*)domain {
  const tovrin::TestDirectories* directories = tovrin::servedDirectories();
  if (directories == nullptr || !directories->providerTemporary) return nil;
  return [[[NSFileProviderManager alloc] init] autorelease];
}

- (NSURL*)temporaryDirectoryURLWithError:(NSError**)error {
  const tovrin::Result<std::filesystem::path> directory = tovrin::servedDirectories()->providerTemporary.value();
  if (directory) return tovrin::toFileURL(*directory);
  *error = tovrin::toNSError(directory.error());
  return nil;
}

@end
