#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

#include "mount/edit_fixture.h"
#include "support/child_process.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

class FullDisk : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("a.bin", a_);
    write("b.bin", b_);
    makeWarp();
  }

  /// Runs the rest of the test where this folder is on a disk of its own, of that size.
  void onSmallDisk(const fs::path& folder, const char* size, const std::function<void()>& rest) {
    fs::create_directories(folder);
    const int status = inChild([&] {
      keepMountsPrivate();
      if (::mount("none", folder.c_str(), "tmpfs", 0, size) != 0) _exit(kCannotTest);
      rest();
    });
    if (status == kCannotTest) GTEST_SKIP() << "file systems can only be mounted with more rights";
    EXPECT_EQ(status, 0);
  }
  /// Takes what is free on the disk.
  static void fill(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string block(4096, 'x');
    while (::write(descriptor, block.data(), block.size()) > 0) continue;
    close(descriptor);
  }

  fs::path cache() const { return scratch_ / "home/cache"; }
  fs::path state() const { return scratch_ / "home/state"; }
  fs::path copies() const { return cache() / "tovrin/TovrinFileProvider"; }

  const std::string a_ = noise(3'000'000, 1);
  const std::string b_ = noise(3'000'000, 2);
};

TEST_F(FullDisk, makesRoomByDroppingCopiesThatAreNotOpen) {
  onSmallDisk(cache(), "size=5m", [&] {
    mount({"cache_free=0%"});
    for (int round = 0; round < 3; ++round) {
      EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
      EXPECT_TRUE(readFile(shown() / "b.bin") == b_);
    }
    unmount();
  });
}

TEST_F(FullDisk, saysNoSpaceWhenOpenFilesTakeItAll) {
  onSmallDisk(cache(), "size=5m", [&] {
    mount({"cache_free=0%"});
    OpenedFile a(shown() / "a.bin", O_RDONLY);
    EXPECT_TRUE(run("cat $D/b.bin").output.ends_with(": No space left on device\n"));
    EXPECT_EQ(countFiles(copies()), 0U);
    EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
    a.close();
    // The kernel tells of the close a little later.
    EXPECT_TRUE(eventually([&] { return readFile(shown() / "b.bin") == b_; }));
    unmount();
  });
}

TEST_F(FullDisk, aDownloadThatRunsOutOfDiskLeavesNothing) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object times=1 seconds=1"));
  onSmallDisk(cache(), "size=5m", [&] {
    mount({"cache_free=0%"});
    const auto reader = start("exec cat $D/a.bin");
    ASSERT_TRUE(eventually([&] { return countFiles(copies()) > 0; }));
    fill(cache() / "others");
    EXPECT_TRUE(reader->finish().output.ends_with(": No space left on device\n"));
    EXPECT_EQ(countFiles(copies()), 0U);
    EXPECT_EQ(attribute(shown() / "a.bin", "user.tovrin.state"), "issue");
    fs::remove(cache() / "others");
    EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
    unmount();
  });
}

TEST_F(FullDisk, aDownloadThatRunsOutOfDiskTakesThePlaceOfCopies) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object times=2 seconds=1"));
  onSmallDisk(cache(), "size=8m", [&] {
    mount({"cache_free=0%"});
    EXPECT_TRUE(readFile(shown() / "b.bin") == b_);
    const auto reader = start("exec cat $D/a.bin");
    ASSERT_TRUE(eventually([&] { return countFiles(copies()) > 0; }));
    fill(cache() / "others");
    EXPECT_TRUE(reader->finish().output == a_);
    EXPECT_EQ(attribute(shown() / "b.bin", "user.tovrin.state"), "remote");
    unmount();
  });
}

TEST_F(FullDisk, anEditThatHasNoRoomIsRefusedAndTheFileUntouched) {
  onSmallDisk(state(), "size=2m", [&] {
    mount();
    EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
    const Ended failed = run("printf changed | dd of=$D/a.bin conv=notrunc status=none; echo $?");
    EXPECT_TRUE(failed.output.contains("No space left on device")) << failed.output;
    EXPECT_TRUE(failed.output.ends_with("1\n")) << failed.output;
    EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
    EXPECT_EQ(attribute(shown() / "a.bin", "user.tovrin.state"), "cached");
    remount();
    EXPECT_TRUE(readFile(shown() / "a.bin") == a_);
    unmount();
  });
}

TEST_F(FullDisk, aSaveThatOutgrowsTheDiskFailsAndOthersGoOn) {
  onSmallDisk(state(), "size=2m", [&] {
    mount();
    EXPECT_TRUE(readFile(shown() / "b.bin") == b_);
    const Ended failed = run("cat $O/b.bin > $D/a.bin; echo $?");
    EXPECT_TRUE(failed.output.contains("No space left on device")) << failed.output;
    EXPECT_TRUE(failed.output.ends_with("1\n")) << failed.output;
    EXPECT_TRUE(readFile(shown() / "b.bin") == b_);
    unmount();
  });
}

TEST_F(FullDisk, copiesStayBelowTheLimitExceptForOpenFiles) {
  for (unsigned number = 0; number < 10; ++number) write(std::to_string(number), noise(500'000, number + 10));
  makeWarp();
  mount({"cache_size=4M", "cache_free=0%"});
  const OpenedFile a(shown() / "a.bin", O_RDONLY);
  for (unsigned number = 0; number < 10; ++number) {
    EXPECT_TRUE(readFile(shown() / std::to_string(number)) == noise(500'000, number + 10));
    const Ended used = run("find $HOME/cache/tovrin/replica -type f -printf '%s\\n' | paste -sd+ | bc");
    EXPECT_LE(std::stoll(used.output), 4 << 20);
  }
  EXPECT_EQ(attribute(shown() / "a.bin", "user.tovrin.state"), "cached");
  EXPECT_EQ(attribute(shown() / "0", "user.tovrin.state"), "remote");
  EXPECT_EQ(attribute(shown() / "9", "user.tovrin.state"), "cached");
}

}  // namespace

}  // namespace tovrin
