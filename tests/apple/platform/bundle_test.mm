#import <Foundation/Foundation.h>
#include <gtest/gtest.h>

#include "platform/darwin/values.h"

namespace tovrin {

namespace {

id propertyList(const char* path) {
  return [NSPropertyListSerialization propertyListWithData:[NSData dataWithContentsOfFile:toNSString(path)]
                                                   options:NSPropertyListImmutable
                                                    format:nullptr
                                                     error:nullptr];
}

class Bundle : public ::testing::Test {
 protected:
  ~Bundle() override { [pool_ drain]; }

 private:
  NSAutoreleasePool* pool_ = [[NSAutoreleasePool alloc] init];

 protected:
  NSDictionary* information = propertyList(TOVRIN_INFO_PLIST);
  NSDictionary* extension = [information objectForKey:@"NSExtension"];
  NSDictionary* entitlements = propertyList(TOVRIN_ENTITLEMENTS);
};

TEST_F(Bundle, namesAPrincipalClassThatThereIs) {
  NSString* name = [extension objectForKey:@"NSExtensionPrincipalClass"];
  EXPECT_EQ(toText(name), "TovrinFileProviderExtension");
  EXPECT_NE(NSClassFromString(name), nil);
}

TEST_F(Bundle, isAFileProviderWithoutAnInterfaceOfItsOwn) {
  EXPECT_EQ(toText([extension objectForKey:@"NSExtensionPointIdentifier"]), "com.apple.fileprovider-nonui");
  EXPECT_TRUE([[extension objectForKey:@"NSExtensionFileProviderSupportsEnumeration"] boolValue]);
  EXPECT_EQ(toText([information objectForKey:@"CFBundlePackageType"]), "XPC!");
}

TEST_F(Bundle, sharesTheGroupThatItIsEntitledTo) {
  NSArray* groups = [entitlements objectForKey:@"com.apple.security.application-groups"];
  EXPECT_EQ(groups.count, 1U);
  EXPECT_EQ(toText(groups.firstObject), TOVRIN_APP_GROUP);
  EXPECT_EQ(toText([extension objectForKey:@"NSExtensionFileProviderDocumentGroup"]), TOVRIN_APP_GROUP);
}

TEST_F(Bundle, isSandboxedAndMayReachTheWorker) {
  EXPECT_TRUE([[entitlements objectForKey:@"com.apple.security.app-sandbox"] boolValue]);
  EXPECT_TRUE([[entitlements objectForKey:@"com.apple.security.network.client"] boolValue]);
  EXPECT_TRUE(
      [[[information objectForKey:@"NSAppTransportSecurity"] objectForKey:@"NSAllowsArbitraryLoads"] boolValue]);
}

TEST_F(Bundle, hasAnIdentifierInsideTheApplications) {
  EXPECT_TRUE([[information objectForKey:@"CFBundleIdentifier"] hasPrefix:@"com.tovrin.app."]);
}

}  // namespace

}  // namespace tovrin
