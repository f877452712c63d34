#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "mount/mount_fixture.h"

namespace tovrin {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// A process that waits in open(2), or in truncate(2), and takes signals without being ended by them. It ends with the
/// errno.
class Opener {
 public:
  enum class Call { open, truncate };
  explicit Opener(const std::filesystem::path& file, Call call = Call::open) : process_(fork()) {
    if (process_ != 0) return;
    struct sigaction handled{};
    handled.sa_handler = [](int) {};
    handled.sa_flags = SA_RESTART;
    sigaction(SIGINT, &handled, nullptr);
    sigaction(SIGALRM, &handled, nullptr);
    const int result = call == Call::open ? open(file.c_str(), O_RDONLY) : truncate(file.c_str(), 1);
    _exit(result >= 0 ? 0 : errno);
  }
  ~Opener() {
    signal(SIGKILL);
    end();
  }
  Opener(const Opener&) = delete;
  Opener& operator=(const Opener&) = delete;

  void signal(int number) const {
    if (process_ > 0) kill(process_, number);
  }
  bool hasEnded() {
    if (process_ > 0 && waitpid(process_, &status_, WNOHANG) == process_) process_ = -1;
    return process_ < 0;
  }
  /// Waits: the errno, or a negative signal.
  int end() {
    if (process_ > 0) waitpid(process_, &status_, 0);
    process_ = -1;
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
  }

 private:
  pid_t process_;
  int status_ = 0;
};

/// A file whose download stalls until the fault is cleared.
class Interrupt : public MountTest {
 protected:
  void SetUp() override {
    MountTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    write("big.bin", noise(1'000'000));
    makeWarp();
    mount();
    ASSERT_TRUE(worker_.addFault("stall after=500000 route=object"));
  }

  std::filesystem::path big() const { return shown() / "big.bin"; }
  bool isDownloading(std::size_t count = 1) const {
    return eventually([&] { return downloads() == count; });
  }
  /// The worker's connection of the first download has been given up.
  bool isCancelled() {
    return eventually([&] { return state(big()) == "remote"; });
  }
};

TEST_F(Interrupt, isAnsweredAfterASecond) {
  Opener opener(big());
  ASSERT_TRUE(isDownloading());
  const auto start = Clock::now();
  opener.signal(SIGINT);
  EXPECT_EQ(opener.end(), EINTR);
  EXPECT_GE(Clock::now() - start, milliseconds(900));
  EXPECT_LT(Clock::now() - start, milliseconds(4000));
  EXPECT_TRUE(isCancelled());
  EXPECT_TRUE(eventually([&] { return countFiles(scratch_ / "home/cache/tovrin/TovrinFileProvider") == 0; }));
}

TEST_F(Interrupt, ofATruncateIsAnswered) {
  Opener opener(big(), Opener::Call::truncate);
  ASSERT_TRUE(isDownloading());
  opener.signal(SIGINT);
  EXPECT_EQ(opener.end(), EINTR);
  EXPECT_TRUE(isCancelled());
}

TEST_F(Interrupt, isForgottenWhenTheFileComesInTime) {
  Opener opener(big());
  ASSERT_TRUE(isDownloading());
  opener.signal(SIGALRM);
  worker_.clearFaults();
  EXPECT_EQ(opener.end(), 0);
}

TEST_F(Interrupt, leavesTheDownloadToOthers) {
  Opener opener(big());
  Opener patient(big());
  ASSERT_TRUE(isDownloading());
  opener.signal(SIGINT);
  EXPECT_EQ(opener.end(), EINTR);
  EXPECT_FALSE(patient.hasEnded());
  EXPECT_EQ(state(big()), "opening");
  worker_.clearFaults();
  EXPECT_EQ(patient.end(), 0);
  EXPECT_EQ(downloads(), 1U);
}

TEST_F(Interrupt, ofTheLastOneEndsTheDownload) {
  Opener first(big());
  Opener second(big());
  ASSERT_TRUE(isDownloading());
  first.signal(SIGINT);
  second.signal(SIGINT);
  EXPECT_EQ(first.end(), EINTR);
  EXPECT_EQ(second.end(), EINTR);
  EXPECT_TRUE(isCancelled());
}

TEST_F(Interrupt, byAKillIsAnsweredAtOnce) {
  Opener opener(big());
  ASSERT_TRUE(isDownloading());
  const auto start = Clock::now();
  opener.signal(SIGKILL);
  EXPECT_EQ(opener.end(), -SIGKILL);
  EXPECT_LT(Clock::now() - start, milliseconds(900));
  EXPECT_TRUE(isCancelled());
}

TEST_F(Interrupt, stopsAnOrdinaryProgram) {
  const auto reader = start("exec cat $D/big.bin");
  ASSERT_TRUE(isDownloading());
  reader->signal(SIGINT);
  EXPECT_EQ(reader->finish().status, -SIGINT);
  EXPECT_TRUE(isCancelled());
}

TEST_F(Interrupt, isFollowedByANewDownload) {
  Opener opener(big());
  ASSERT_TRUE(isDownloading());
  opener.signal(SIGKILL);
  EXPECT_TRUE(isCancelled());
  worker_.clearFaults();
  EXPECT_EQ(readFile(big()), readFile(originals() / "big.bin"));
  EXPECT_EQ(downloads(), 2U);
}

TEST_F(Interrupt, byUnmountingFreesWhoWaits) {
  Opener opener(big());
  ASSERT_TRUE(isDownloading());
  unmount();
  EXPECT_NE(opener.end(), 0);
}

}  // namespace

}  // namespace tovrin
