#include "platform/darwin/provider_directories.h"

#include "edge/driver.h"

namespace tovrin {

namespace {

class ProviderDirectories : public Driver {
 protected:
  ::NSFileProviderDomain* domain() const {
    return [[[::NSFileProviderDomain alloc] initWithIdentifier:@"tovrin" displayName:@"Tovrin"] autorelease];
  }
};

TEST_F(ProviderDirectories, findTheContainerOfTheirGroupOnly) {
  EXPECT_EQ(makeProviderDirectories(TOVRIN_APP_GROUP, domain())->appGroupContainer(), test.directories.container);
  EXPECT_EQ(makeProviderDirectories("group.of.somebody.else", domain())->appGroupContainer(), std::nullopt);
}

TEST_F(ProviderDirectories, haveAnApplicationSupportDirectoryWithoutAContainer) {
  const auto directories = makeProviderDirectories("", domain());
  ASSERT_TRUE(directories->applicationSupport());
  EXPECT_TRUE(directories->applicationSupport()->is_absolute());
  EXPECT_TRUE(directories->temporaryDirectory().is_absolute());
}

TEST_F(ProviderDirectories, tellAMissingManagerFromOneThatFails) {
  const auto directories = makeProviderDirectories(TOVRIN_APP_GROUP, domain());
  ASSERT_TRUE(directories->providerTemporaryDirectory());
  EXPECT_EQ(*directories->providerTemporaryDirectory(), *test.directories.providerTemporary);

  const NSError error("SomeDomain", 7, "No room for files.");
  test.directories.providerTemporary = failure(error);
  ASSERT_TRUE(directories->providerTemporaryDirectory());
  EXPECT_EQ(directories->providerTemporaryDirectory()->error(), error);

  test.directories.providerTemporary.reset();
  EXPECT_FALSE(directories->providerTemporaryDirectory());
}

}  // namespace

}  // namespace tovrin
