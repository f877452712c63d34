#include <fcntl.h>
#include <unistd.h>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

class Open : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("big.bin", bytes_);
    write("small.txt", "hello\n");
    makeWarp();
    mount();
  }

  const std::string bytes_ = noise(3'000'000);
};

TEST_F(Open, deliversTheOriginalBytes) {
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  EXPECT_EQ(readFile(shown() / "small.txt"), "hello\n");
}

TEST_F(Open, reassemblesPartsAndDecodesThem) {
  write("text.txt", std::string(2'000'000, 'x') + noise(100));
  makeWarp({"--layout", "parts", "--part-size", "64KiB"});
  ASSERT_TRUE(eventually([&] { return fs::exists(shown() / "text.txt"); }));
  EXPECT_EQ(run("cmp $O/text.txt $D/text.txt && cmp $O/big.bin $D/big.bin").status, 0);
}

TEST_F(Open, downloadsOnceForAllWhoWait) {
  ASSERT_TRUE(worker_.addFault("delay seconds=0.5 route=object times=1"));
  const Ended all = run("for i in 1 2 3 4 5 6 7 8; do cmp $O/big.bin $D/big.bin & p+=($!); done; wait \"${p[@]}\"");
  EXPECT_EQ(all.status, 0) << all.output;
  EXPECT_EQ(all.output, "");
  EXPECT_EQ(downloads(), 1U);
}

TEST_F(Open, downloadsOncePerVersion) {
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  EXPECT_EQ(run("echo 3 > /proc/sys/vm/drop_caches 2>/dev/null; cmp $O/big.bin $D/big.bin").status, 0);
  EXPECT_EQ(downloads(), 1U);
}

TEST_F(Open, isLocalAfterARemountAndWithoutAWorker) {
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  unmount();
  worker_.stop();
  mount();
  EXPECT_EQ(state(shown() / "big.bin"), "cached");
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
}

TEST_F(Open, isLocalAfterAKill) {
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  killMount();
  worker_.stop();
  mount();
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
}

TEST_F(Open, neverShowsHalfAFile) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object"));
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(eventually([&] { return downloads() == 1; }));
  EXPECT_EQ(state(shown() / "big.bin"), "opening");
  EXPECT_EQ(reader->output(), "");
  EXPECT_EQ(fs::file_size(shown() / "big.bin"), bytes_.size());
  worker_.clearFaults();
  EXPECT_EQ(reader->finish().output, bytes_);
}

TEST_F(Open, failsWholeWhenTheAnswerBreaksOff) {
  ASSERT_TRUE(worker_.addFault("cut after=1000000 route=object"));
  const Ended cut = run("cat $D/big.bin");
  EXPECT_EQ(cut.status, 1);
  EXPECT_EQ(cut.output.find(bytes_.substr(0, 100)), std::string::npos);
  EXPECT_EQ(state(shown() / "big.bin"), "issue");
  EXPECT_EQ(countFiles(scratch_ / "home/cache/tovrin/TovrinFileProvider"), 0U) << run("find $HOME").output;
  worker_.clearFaults();
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  EXPECT_EQ(state(shown() / "big.bin"), "cached");
}

TEST_F(Open, readsAtOncePlacesAllOver) {
  const int file = open((shown() / "big.bin").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(file, 0);
  for (const std::size_t place : {2'999'990UL, 0UL, 1'500'000UL, 2'000'001UL}) {
    std::string piece(10, '\0');
    EXPECT_EQ(pread(file, piece.data(), piece.size(), static_cast<off_t>(place)), 10);
    EXPECT_EQ(piece, bytes_.substr(place, 10));
  }
  close(file);
}

TEST_F(Open, survivesTheLossOfAllLocalCopies) {
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  unmount();
  fs::remove_all(scratch_ / "home/cache");
  mount();
  EXPECT_EQ(state(shown() / "big.bin"), "remote");
  EXPECT_EQ(readFile(shown() / "big.bin"), bytes_);
  EXPECT_EQ(downloads(), 2U);
}

}  // namespace

}  // namespace tovrin
