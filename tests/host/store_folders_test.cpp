#include "host/store/store_folders.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/test_platform.h"

namespace tovrin::host {
namespace {

class StoreFoldersTest : public testing::Test {
 protected:
  ScratchFolder scratch_;
  TestDirectories directories_{scratch_.path()};
};

TEST_F(StoreFoldersTest, lieBelowTheUsersCachesAndState) {
  const auto folders = storeFolders(directories_);
  ASSERT_TRUE(folders.has_value());
  EXPECT_EQ(folders->cache.parent_path(), directories_.providerTemporary->value() / "replica");
  EXPECT_EQ(folders->state.parent_path(), *directories_.state / "tovrin");
  EXPECT_EQ(folders->cache.filename(), folders->state.filename());
  EXPECT_EQ(folders->cache.filename().native().size(), 16U);
}

TEST_F(StoreFoldersTest, areDifferentForEveryContainer) {
  const auto first = storeFolders(directories_);
  directories_.container = scratch_ / "another";
  const auto second = storeFolders(directories_);
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->cache, second->cache);
  EXPECT_NE(first->state, second->state);
}

TEST_F(StoreFoldersTest, areTheSameByAnyPathToTheContainer) {
  const auto before = storeFolders(directories_);
  std::filesystem::create_directories(*directories_.container / "Warp");
  std::filesystem::create_directory_symlink(*directories_.container, scratch_ / "link");
  const auto made = storeFolders(directories_);
  directories_.container = scratch_ / "link";
  const auto linked = storeFolders(directories_);
  ASSERT_TRUE(before && made && linked);
  EXPECT_EQ(before->state, made->state);
  EXPECT_EQ(linked->state, made->state);
  EXPECT_EQ(linked->cache, made->cache);
}

TEST_F(StoreFoldersTest, needAContainerAndPlacesForThem) {
  TestDirectories without = directories_;
  without.state.reset();
  EXPECT_FALSE(storeFolders(without).has_value());
  without = directories_;
  without.providerTemporary.reset();
  EXPECT_FALSE(storeFolders(without).has_value());
  without.providerTemporary = Result<std::filesystem::path>(failure(NSError::posix(5)));
  EXPECT_EQ(storeFolders(without).error(), NSError::posix(5));
  without = directories_;
  without.container.reset();
  without.support.reset();
  EXPECT_FALSE(storeFolders(without).has_value());
}

TEST_F(StoreFoldersTest, nameTheirContainerToWhoeverFindsThem) {
  const auto folders = storeFolders(directories_);
  ASSERT_TRUE(folders.has_value());
  EXPECT_FALSE(std::filesystem::exists(folders->state)) << "naming them makes nothing";
  ASSERT_TRUE(ReplicaStore::open(*folders, {.keepFree = 0}).has_value());
  const std::string about = readFile(folders->state / "ABOUT");
  EXPECT_NE(about.find(directories_.container->string() + "\n"), std::string::npos) << about;
  EXPECT_NE(about.find(folders->cache.string()), std::string::npos) << about;
  struct stat status{};
  ASSERT_EQ(stat((folders->state / "ABOUT").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

}  // namespace
}  // namespace tovrin::host
