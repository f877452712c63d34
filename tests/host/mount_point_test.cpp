#include "host/mounting/mount_point.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "host/mounting/mount_table.h"
#include "support/child_process.h"
#include "support/scratch_folder.h"
#include "support/unserved_mount.h"

namespace tovrin::host {
namespace {

class MountPoints : public ::testing::Test {
 protected:
  const ScratchFolder scratch_;
  const std::filesystem::path folder_ = std::filesystem::canonical(scratch_.path()) / "mnt";
};

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status{};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & ALLPERMS;
}

std::int64_t errorCodeOf(const std::filesystem::path& path) {
  const auto point = MountPoint::prepare(path);
  return point ? 0 : point.error().code();
}

TEST_F(MountPoints, areEmptyFoldersWhichStayAsTheyAre) {
  std::filesystem::create_directory(folder_);
  chmod(folder_.c_str(), 0750);
  {
    auto point = MountPoint::prepare(folder_);
    ASSERT_TRUE(point);
    EXPECT_EQ(point->path(), folder_);
    EXPECT_TRUE(point->remarks().empty());
    point->seal();
    EXPECT_EQ(modeOf(folder_), 0750U);
  }
  EXPECT_EQ(modeOf(folder_), 0750U);
}

TEST_F(MountPoints, areMadeWhenMissingTakeNoFilesAndAreRemoved) {
  {
    auto point = MountPoint::prepare(folder_);
    ASSERT_TRUE(point);
    EXPECT_EQ(modeOf(folder_), 0700U);
    ASSERT_EQ(point->remarks().size(), 1U);
    point->seal();
    EXPECT_EQ(modeOf(folder_), 0500U);
    const MountPoint moved = *std::move(point);
    EXPECT_EQ(modeOf(folder_), 0500U);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_));
}

TEST_F(MountPoints, areRemovedWhenNothingCameOfIt) {
  {
    const auto point = MountPoint::prepare(folder_);
  }
  EXPECT_FALSE(std::filesystem::exists(folder_));
}

TEST_F(MountPoints, thatTheirOwnerCannotWriteToAreOpenedForTheMount) {
  std::filesystem::create_directory(folder_);
  chmod(folder_.c_str(), 0500);
  {
    auto point = MountPoint::prepare(folder_);
    ASSERT_TRUE(point);
    EXPECT_EQ(modeOf(folder_), 0700U);
    point->seal();
    EXPECT_EQ(modeOf(folder_), 0500U);
  }
  EXPECT_EQ(modeOf(folder_), 0500U);
}

TEST_F(MountPoints, tellWhenTheyWereTakenAway) {
  std::filesystem::create_directory(folder_);
  const auto point = MountPoint::prepare(folder_);
  ASSERT_TRUE(point);
  EXPECT_FALSE(point->hasVanished());
  std::filesystem::remove(folder_);
  EXPECT_TRUE(point->hasVanished());
}

TEST_F(MountPoints, areNotFoldersWithContents) {
  writeFile(folder_ / ".hidden", "a");
  EXPECT_EQ(errorCodeOf(folder_), ENOTEMPTY);
  EXPECT_TRUE(std::filesystem::exists(folder_ / ".hidden"));
}

TEST_F(MountPoints, areNotFiles) {
  writeFile(folder_, "a");
  EXPECT_EQ(errorCodeOf(folder_), ENOTDIR);
  EXPECT_EQ(errorCodeOf(folder_ / "below"), ENOTDIR);
}

TEST_F(MountPoints, areNotMadeWithTheFoldersAboveThem) {
  EXPECT_EQ(errorCodeOf(folder_ / "below"), ENOENT);
  EXPECT_FALSE(std::filesystem::exists(folder_));
}

TEST_F(MountPoints, areNamedWithoutLinksAndDots) {
  std::filesystem::create_directory(folder_);
  std::filesystem::create_directory_symlink(folder_, folder_.parent_path() / "link");
  EXPECT_EQ(resolveMountpoint(folder_.parent_path() / "link/"), folder_);
  EXPECT_EQ(resolveMountpoint(folder_ / "../mnt/."), folder_);
  EXPECT_EQ(resolveMountpoint(folder_.parent_path() / "link/missing/"), folder_ / "missing");
  EXPECT_FALSE(resolveMountpoint(folder_ / "missing/below"));
}

TEST_F(MountPoints, areNotWhereSomethingIsMounted) {
  std::filesystem::create_directory(folder_);
  const int status = inChild([&] {
    keepMountsPrivate();
    ASSERT_EQ(mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=1m"), 0);
    const auto point = MountPoint::prepare(folder_);
    ASSERT_FALSE(point);
    EXPECT_EQ(point.error().code(), EBUSY);
    EXPECT_EQ(point.error().localizedDescription(), "A file system of type tmpfs is mounted here already.");
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

TEST_F(MountPoints, areNotWhereOneOfOursIsMounted) {
  std::filesystem::create_directory(folder_);
  const int status = inChild([&] {
    keepMountsPrivate();
    const int device = mountUnserved(folder_, "fuse.tovrin");
    // Looking into the folder would wait for an answer; that something is mounted there must be enough.
    const auto point = MountPoint::prepare(folder_);
    ASSERT_FALSE(point);
    EXPECT_EQ(point.error().localizedDescription(), "A Tovrin mount is here already.");
    close(device);
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

TEST_F(MountPoints, areFreedOfOurOwnDeadMounts) {
  std::filesystem::create_directory(folder_);
  const int status = inChild([&] {
    keepMountsPrivate();
    mountDead(folder_, "fuse.tovrin");
    mountDead(folder_, "fuse.tovrin");
    const auto point = MountPoint::prepare(folder_);
    ASSERT_TRUE(point) << point.error().localizedDescription();
    EXPECT_EQ(point->path(), folder_);
    EXPECT_EQ(point->remarks().size(), 2U);
    EXPECT_FALSE(mountedAt(*mountedFileSystems(), folder_));
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

TEST_F(MountPoints, leaveTheDeadMountsOfOthersAlone) {
  std::filesystem::create_directory(folder_);
  const int status = inChild([&] {
    keepMountsPrivate();
    mountDead(folder_, "fuse.sshfs");
    const auto point = MountPoint::prepare(folder_);
    ASSERT_FALSE(point);
    EXPECT_EQ(point.error().code(), EBUSY);
    EXPECT_TRUE(mountedAt(*mountedFileSystems(), folder_));
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tovrin::host
