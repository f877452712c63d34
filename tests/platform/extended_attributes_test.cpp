#include "platform/extended_attributes.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "support/scratch_folder.h"

namespace tovrin {
namespace {

constexpr std::string_view kName = "com.apple.metadata:_kMDItemUserTags";

class ExtendedAttributes : public ::testing::Test {
 protected:
  void SetUp() override {
    writeFile(file, "contents");
    if (setxattr(file.c_str(), "user.probe", "", 0, 0) != 0)
      GTEST_SKIP() << "the file system of the temporary directory keeps no user attributes";
  }

  ScratchFolder folder;
  const std::filesystem::path file = folder / "file";
};

TEST_F(ExtendedAttributes, readsWhatWasWritten) {
  const std::string value("binary\0\n\xff", 9);
  ASSERT_TRUE(setExtendedAttribute(file, kName, value, LinkPolicy::noFollow));
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), value);
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::follow), value);
}

TEST_F(ExtendedAttributes, keepsThemUnderTheUsersPrefix) {
  ASSERT_TRUE(setExtendedAttribute(file, kName, "tags", LinkPolicy::noFollow));
  char value[4];
  ASSERT_EQ(getxattr(file.c_str(), "user.com.apple.metadata:_kMDItemUserTags", value, sizeof value), 4);
  EXPECT_EQ(std::string_view(value, 4), "tags");
}

TEST_F(ExtendedAttributes, replacesAnOlderValue) {
  ASSERT_TRUE(setExtendedAttribute(file, kName, "a long first value", LinkPolicy::noFollow));
  ASSERT_TRUE(setExtendedAttribute(file, kName, "second", LinkPolicy::noFollow));
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), "second");
}

TEST_F(ExtendedAttributes, tellsAnEmptyValueFromNone) {
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), std::nullopt);
  ASSERT_TRUE(setExtendedAttribute(file, kName, "", LinkPolicy::noFollow));
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), "");
}

TEST_F(ExtendedAttributes, reachesThroughALinkOnlyWhenTold) {
  const std::filesystem::path link = folder / "link";
  std::filesystem::create_symlink(file, link);
  EXPECT_FALSE(setExtendedAttribute(link, kName, "on the link", LinkPolicy::noFollow));
  ASSERT_TRUE(setExtendedAttribute(link, kName, "on the file", LinkPolicy::follow));
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), "on the file");
  EXPECT_EQ(extendedAttribute(link, kName, LinkPolicy::follow), "on the file");
  EXPECT_EQ(extendedAttribute(link, kName, LinkPolicy::noFollow), std::nullopt);
}

TEST_F(ExtendedAttributes, worksOnFolders) {
  ASSERT_TRUE(setExtendedAttribute(folder.path(), kName, "folder", LinkPolicy::noFollow));
  EXPECT_EQ(extendedAttribute(folder.path(), kName, LinkPolicy::noFollow), "folder");
}

TEST_F(ExtendedAttributes, doesNothingWithAMissingFile) {
  EXPECT_FALSE(setExtendedAttribute(folder / "missing", kName, "value", LinkPolicy::follow));
  EXPECT_EQ(extendedAttribute(folder / "missing", kName, LinkPolicy::follow), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

TEST_F(ExtendedAttributes, refusesAValueThatDoesNotFitAndKeepsTheOldOne) {
  ASSERT_TRUE(setExtendedAttribute(file, kName, "old", LinkPolicy::noFollow));
  EXPECT_FALSE(setExtendedAttribute(file, kName, std::string(10'000'000, 'x'), LinkPolicy::noFollow));
  EXPECT_EQ(extendedAttribute(file, kName, LinkPolicy::noFollow), "old");
}

}  // namespace
}  // namespace tovrin
