#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "mount/mount_fixture.h"
#include "mount/same_tree.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

/// A folder with one of everything.
class Browse : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("Notes/licence.txt", noise(300'000));
    write("Notes/empty", "");
    write("Notes/Sub/a b.txt", "hello\n");
    write("Programs/run", "#!/bin/sh\n");
    write(
        "Gr\xC3\xBC\xC3\x9F"
        "e.txt",
        "hello\n");
    write("locked", "for its owner\n");
    write("disk.img", std::string());
    fs::create_symlink("../licence.txt", originals() / "Notes/Sub/licence");
    fs::create_symlink("nowhere", originals() / "broken");
    fs::permissions(originals() / "Programs/run", fs::perms(0755));
    fs::permissions(originals() / "locked", fs::perms(0400));
    fs::permissions(originals() / "Notes/Sub", fs::perms(0700));
    makeHoles();
    for (const char* name : {"disk.img", "broken", "Notes/Sub/licence", "Notes/Sub", "Notes", "Programs"})
      setOldTime(name);
    makeWarp();
    mount();
  }

  void makeHoles() {
    constexpr off_t kData = 5 << 20;
    constexpr off_t kSize = 16 << 20;
    const int file = open((originals() / "disk.img").c_str(), O_WRONLY | O_CLOEXEC);
    const std::string data = noise(200'000, 2);
    ASSERT_EQ(pwrite(file, data.data(), data.size(), kData), static_cast<ssize_t>(data.size()));
    ASSERT_EQ(ftruncate(file, kSize), 0);
    close(file);
  }

  struct stat statusOf(const fs::path& path) {
    struct stat status{};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
  }
};

constexpr const char* kListings[] = {
    "cd $P && find . -mindepth 1 ! -name .tovrin-warped.json -printf '%P %y %l %T@\\n' | sort",
    "cd $P && find . -mindepth 1 ! -type d ! -name .tovrin-warped.json -printf '%P %s %m\\n' | sort",
    "cd $P && tree -a -I .tovrin-warped.json",
    "cd $P && ls -R --ignore=.tovrin-warped.json",
    "cd $P && du --apparent-size -b --exclude=.tovrin-warped.json Notes/licence.txt disk.img locked",
};

TEST_F(Browse, listsWhatWasThereWithOrdinaryTools) {
  for (const std::string listing : kListings) {
    const Ended before = run("P=$O; " + listing);
    const Ended after = run("P=$D; " + listing);
    EXPECT_EQ(after.status, 0) << after.output;
    EXPECT_EQ(after.output, before.output) << listing;
  }
  EXPECT_EQ(downloads(), 0U);
}

TEST_F(Browse, listsWithoutAWorker) {
  worker_.stop();
  for (const std::string listing : kListings) {
    const Ended before = run("P=$O; " + listing);
    EXPECT_EQ(run("P=$D; " + listing).output, before.output) << listing;
  }
  EXPECT_EQ(run("ls -lR $M && df $M && du -s $M && stat $D/locked").status, 0);
}

TEST_F(Browse, readsSymbolicLinksWithoutAWorker) {
  worker_.stop();
  EXPECT_EQ(fs::read_symlink(shown() / "Notes/Sub/licence"), "../licence.txt");
  EXPECT_EQ(fs::read_symlink(shown() / "broken"), "nowhere");
  EXPECT_EQ(fs::file_size(shown() / "Notes/Sub/licence"), 300'000U);
}

TEST_F(Browse, equalsTheOriginals) { EXPECT_TRUE(isSameTree(originals(), shown())); }

TEST_F(Browse, isCopiedWhole) {
  const Ended copied = run("cp -a $D copy");
  EXPECT_EQ(copied.status, 0) << copied.output;
  EXPECT_TRUE(isSameTree(originals(), work() / "copy"));
  EXPECT_EQ(run("chmod -R u+w copy").status, 0);
}

TEST_F(Browse, isArchivedWhole) {
  const Ended archived =
      run("mkdir copy && tar -C $D --format=posix -cf - . | tar -C copy -xpf - --delay-directory-restore");
  EXPECT_EQ(archived.status, 0) << archived.output;
  EXPECT_TRUE(isSameTree(originals(), work() / "copy"));
}

TEST_F(Browse, isArchivedWholeAsSparseFiles) {
  const Ended archived =
      run("mkdir copy && tar -C $D --format=posix -cSf - . | tar -C copy -xpf - --delay-directory-restore");
  EXPECT_EQ(archived.status, 0) << archived.output;
  EXPECT_TRUE(isSameTree(originals(), work() / "copy"));
}

TEST_F(Browse, isSynchronizedWhole) {
  const Ended copied = run("rsync -aX $D/ copy");
  EXPECT_EQ(copied.status, 0) << copied.output;
  EXPECT_TRUE(isSameTree(originals(), work() / "copy"));
  EXPECT_EQ(run("rsync -aXi $D/ copy").output, "") << "a second run finds nothing to do";
}

TEST_F(Browse, belongsToTheMountingUser) {
  for (const char* name : {"locked", "Notes", "broken"}) {
    EXPECT_EQ(statusOf(shown() / name).st_uid, getuid());
    EXPECT_EQ(statusOf(shown() / name).st_gid, getgid());
  }
}

TEST_F(Browse, belongsToWhomTheOptionsSay) {
  remount({"uid=1234", "gid=4321", "umask=027"});
  const struct stat status = statusOf(shown() / "Programs/run");
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 4321U);
  EXPECT_EQ(status.st_mode & 07777, 0750U);
}

TEST_F(Browse, belongsToTheOriginalOwnerWhenAsked) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  ASSERT_EQ(chown((originals() / "locked").c_str(), 1234, 4321), 0);
  makeWarp();
  remount({"owner=manifest"});
  EXPECT_EQ(statusOf(shown() / "locked").st_uid, 1234U);
  EXPECT_EQ(statusOf(shown() / "locked").st_gid, 4321U);
}

TEST_F(Browse, givesTheSameInodesAfterARemount) {
  const std::string before = run("cd $M && find . -printf '%P %i\\n'").output;
  remount();
  EXPECT_EQ(run("cd $M && find . -printf '%P %i\\n'").output, before);
  EXPECT_EQ(run("cd $D && find . -printf '%i\\n' | sort | uniq -d").output, "");
}

TEST_F(Browse, tellsTheSameInodesInListingsAndAttributes) {
  EXPECT_EQ(run("cd $D && ls -iU1 | awk '{print $1}'; ls -U $D | while read n; do stat -c %i \"$D/$n\"; done | diff - "
                "<(cd $D && ls -iU1 | awk '{print $1}')")
                .status,
            0);
}

TEST_F(Browse, takesOnlyLocalBytesForUsed) {
  EXPECT_EQ(run("du -s $D | cut -f1").status, 0);
  EXPECT_EQ(statusOf(shown() / "disk.img").st_blocks, 1);
  EXPECT_EQ(statusOf(shown() / "Notes/empty").st_blocks, 0);
  EXPECT_EQ(readFile(shown() / "Notes/licence.txt"), readFile(originals() / "Notes/licence.txt"));
  EXPECT_GE(statusOf(shown() / "Notes/licence.txt").st_blocks, 300'000 / 512);
  EXPECT_EQ(readFile(shown() / "disk.img"), readFile(originals() / "disk.img"));
  EXPECT_LT(statusOf(shown() / "disk.img").st_blocks, (4 << 20) / 512) << "the holes are kept";
}

TEST_F(Browse, findsHolesInWhatIsHere) {
  EXPECT_EQ(run("cat $D/disk.img >/dev/null && cp --sparse=auto $D/disk.img copy && cmp copy $O/disk.img").status, 0);
  struct stat copy = statusOf(work() / "copy");
  EXPECT_LT(copy.st_blocks, (4 << 20) / 512);
}

TEST_F(Browse, tellsHowMuchThereIsAndWhatItCosts) {
  struct statvfs before{};
  // It is answered at once, and counted meanwhile.
  ASSERT_TRUE(eventually([&] { return statvfs(mountpoint().c_str(), &before) == 0 && before.f_blocks > 0; }));
  EXPECT_LE((before.f_blocks - before.f_bfree) * before.f_frsize, 4096U) << "nothing is here yet";
  EXPECT_GE(before.f_blocks * before.f_frsize, std::uint64_t{16 << 20} + 300'000);
  EXPECT_EQ(before.f_namemax, 255U);
  EXPECT_GT(before.f_bavail, 0U) << "programs that look before they save would not save";
  EXPECT_EQ(readFile(shown() / "Notes/licence.txt").size(), 300'000U);
  struct statvfs after{};
  ASSERT_EQ(statvfs(mountpoint().c_str(), &after), 0);
  EXPECT_EQ(after.f_blocks, before.f_blocks);
  EXPECT_GE((after.f_blocks - after.f_bfree) * after.f_frsize, 300'000U);
  EXPECT_EQ(run("df --output=fstype $M | tail -1").output, "fuse.tovrin\n");
}

TEST_F(Browse, hasAttributesAsSoonAsAFolderIsListed) {
  remount({"debug"});
  const auto lookups = [&] {
    const std::string log = mountLog();
    std::size_t count = 0;
    for (std::size_t at = 0; (at = log.find("LOOKUP (1)", at)) != std::string::npos; ++at) ++count;
    return count;
  };
  ASSERT_EQ(run("stat $D").status, 0);
  const std::size_t ofPath = lookups();
  EXPECT_GT(ofPath, 0U);
  ASSERT_EQ(run("ls -lR $D && ls -lR $D && cat $D/locked").status, 0);
  EXPECT_EQ(lookups(), ofPath);
}

TEST_F(Browse, doesNotWaitForDownloads) {
  ASSERT_TRUE(worker_.addFault("silent route=object"));
  const auto waiting = start("exec cat $D/locked");
  ASSERT_TRUE(eventually([&] { return downloads() > 0; }));
  EXPECT_EQ(run("timeout 5 ls -lR $M && timeout 5 stat $D/locked && timeout 5 df $M").status, 0);
}

}  // namespace

}  // namespace tovrin
