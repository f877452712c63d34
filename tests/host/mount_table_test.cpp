#include "host/mounting/mount_table.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace tovrin::host {
namespace {

constexpr std::string_view kTable =
    "22 1 254:0 / / rw,relatime shared:1 - ext4 /dev/vda rw\n"
    "36 22 0:44 / /home/ann/My\\040Warps\\134x\\011 rw,nosuid,nodev shared:7 master:2 - fuse.tovrin tovrin rw\n"
    "37 36 0:45 / /mnt rw - fuse.sshfs host:/\\040a rw\n"
    "38 37 0:46 / /mnt rw - fuse.sshfs tovrin rw\n"
    "nonsense\n"
    "39 22 x:y / /broken rw - ext4 /dev/vdb rw\n";

TEST(MountTable, readsEveryLine) {
  const auto all = parseMountInfo(kTable);
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[0].mountpoint, "/");
  EXPECT_EQ(all[0].device, makedev(254, 0));
  EXPECT_EQ(all[0].type, "ext4");
  EXPECT_EQ(all[0].source, "/dev/vda");
  EXPECT_EQ(all[1].mountpoint, "/home/ann/My Warps\\x\t");
  EXPECT_EQ(all[1].type, "fuse.tovrin");
  EXPECT_EQ(all[2].source, "host:/ a");
}

TEST(MountTable, findsWhatIsSeenAtAPath) {
  const auto all = parseMountInfo(kTable);
  ASSERT_TRUE(mountedAt(all, "/mnt"));
  EXPECT_EQ(mountedAt(all, "/mnt")->device, makedev(0, 46));
  EXPECT_FALSE(mountedAt(all, "/home/ann"));
  EXPECT_FALSE(mountedAt({}, "/"));
}

TEST(MountTable, knowsOurOwnMountsAlsoUnderAnotherType) {
  const auto all = parseMountInfo(kTable);
  EXPECT_FALSE(isTovrin(all[0]));
  EXPECT_TRUE(isTovrin(all[1]));
  EXPECT_FALSE(isTovrin(all[2]));
  EXPECT_TRUE(isTovrin(all[3]));
}

TEST(MountTable, ofThisProcessAgreesWithTheFileSystem) {
  const auto all = mountedFileSystems();
  ASSERT_TRUE(all);
  const auto processes = mountedAt(*all, "/proc");
  struct stat status{};
  ASSERT_EQ(stat("/proc", &status), 0);
  ASSERT_TRUE(processes);
  EXPECT_EQ(processes->type, "proc");
  EXPECT_EQ(processes->device, status.st_dev);
}

}  // namespace
}  // namespace tovrin::host
