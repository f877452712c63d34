#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

namespace fs = std::filesystem;

class WorkerTrouble : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("big.bin", bytes_);
    write("other.bin", noise(40'000, 2));
    write("small.txt", "hello\n");
    makeWarp();
    mount();
  }

  fs::path big() const { return shown() / "big.bin"; }
  /// The file is whole again, now or when an opening is no longer refused for a worker that was away.
  void expectGoodInTheEnd() {
    EXPECT_TRUE(eventually([&] { return run("cmp -s $O/big.bin $D/big.bin").status == 0; }));
    EXPECT_EQ(state(big()), "cached");
    EXPECT_EQ(countFiles(scratch_ / "home/cache/tovrin/TovrinFileProvider"), 0U);
  }
  /// Opening fails with this sentence, and nothing half-written stays.
  void expectFailure(const std::string& sentence) {
    const Ended failed = run("cat $D/big.bin");
    EXPECT_TRUE(failed.output.ends_with(": " + sentence + "\n")) << failed.output;
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(state(big()), "issue");
    EXPECT_NE(attribute(big(), "user.tovrin.error"), std::nullopt);
    EXPECT_EQ(countFiles(scratch_ / "home/cache/tovrin/TovrinFileProvider"), 0U);
  }

  const std::string bytes_ = noise(3'000'000);
};

TEST_F(WorkerTrouble, openersWaitForAWorkerThatIsAway) {
  EXPECT_EQ(readFile(shown() / "small.txt"), "hello\n");
  worker_.stop();
  const auto reader = start("exec cmp $O/big.bin $D/big.bin");
  ASSERT_TRUE(eventually([&] { return state(big()) == "opening"; }));
  // Meanwhile everything else goes on.
  EXPECT_EQ(readFile(shown() / "small.txt"), "hello\n");
  EXPECT_EQ(run("ls -l $D | grep -c bin; df $M >/dev/null").output, "2\n");
  ASSERT_TRUE(worker_.start());
  const Ended read = reader->finish();
  EXPECT_EQ(read.status, 0) << read.output;
}

TEST_F(WorkerTrouble, aWorkerThatVanishesInTheMiddleIsAnErrorAndThenForgiven) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object times=1"));
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(worker_.waitForArrivals(2));
  worker_.stop();
  const Ended failed = reader->finish();
  EXPECT_TRUE(failed.output.ends_with(": No route to host\n")) << failed.output;
  ASSERT_TRUE(worker_.start());
  expectGoodInTheEnd();
}

TEST_F(WorkerTrouble, oneStalledFileHoldsUpNoOther) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object times=1"));
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(eventually([&] { return downloads() == 1; }));
  EXPECT_EQ(run("cmp $O/other.bin $D/other.bin && cat $D/small.txt").output, "hello\n");
  EXPECT_EQ(state(big()), "opening");
  reader->signal(SIGKILL);
  EXPECT_EQ(reader->finish().status, -SIGKILL);
  ASSERT_TRUE(eventually([&] { return state(big()) == "remote"; })) << "the fetch goes on for nobody";
  expectGoodInTheEnd();
}

TEST_F(WorkerTrouble, aFetchThatIsLeftByOneGoesOnForAnother) {
  ASSERT_TRUE(worker_.addFault("stall after=1000000 route=object times=1"));
  const auto first = start("exec cat $D/big.bin");
  ASSERT_TRUE(eventually([&] { return downloads() == 1; }));
  const auto second = start("echo started; exec cmp $O/big.bin $D/big.bin");
  ASSERT_TRUE(second->waitForOutput("started\n"));
  first->signal(SIGKILL);
  first->finish();
  worker_.clearFaults();
  EXPECT_EQ(second->finish().output, "started\n");
  EXPECT_TRUE(readFile(big()) == bytes_);
}

TEST_F(WorkerTrouble, answersThatBreakOffAreErrors) {
  for (const char* after : {"0", "1", "2999999"}) {
    ASSERT_TRUE(worker_.addFault(std::string("cut route=object times=1 after=") + after));
    const Ended failed = run("cat $D/big.bin");
    EXPECT_EQ(failed.status, 1);
    EXPECT_LT(failed.output.size(), 1000U);
    expectGoodInTheEnd();
    unmount();
    fs::remove_all(scratch_ / "home/cache");
    mount();
  }
}

TEST_F(WorkerTrouble, wrongBytesAreNeverServed) {
  for (const char* fault : {"flip at=1500000", "resize bytes=2999999", "resize bytes=3000001", "endless"}) {
    ASSERT_TRUE(worker_.addFault(std::string(fault) + " route=object times=1"));
    expectFailure("Input/output error");
  }
  expectGoodInTheEnd();
}

TEST_F(WorkerTrouble, refusalsAreErrors) {
  ASSERT_TRUE(worker_.addFault("status code=500 route=object times=1"));
  expectFailure("No route to host");
  expectGoodInTheEnd();
}

TEST_F(WorkerTrouble, aMountWithoutAWorkerBrowsesAndEndsAtOnce) {
  worker_.stop();
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(eventually([&] { return state(big()) == "opening"; }));
  EXPECT_EQ(run("find $D -type f | wc -l").output, "3\n");
  unmount();
  EXPECT_NE(reader->finish().status, 0);
}

}  // namespace

}  // namespace tovrin
