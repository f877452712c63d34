#include "shared/mutation_lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>

#include "support/lock_holder.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

namespace fs = std::filesystem;

class MutationLockTest : public testing::Test {
 protected:
  fs::path file() const { return platform.warpDirectory() / "warp-mutation.lock"; }

  static void expectBusy(const Result<TovrinWarpSharedMutationLock>& lock) {
    ASSERT_FALSE(lock);
    EXPECT_EQ(lock.error().domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(lock.error().code(), 60);
    EXPECT_EQ(lock.error().localizedDescription(), "Another Tovrin file change is still finishing. Please try again.");
  }

  /// The semaphore was given back: somebody else can take the lock at once.
  void expectFree() { EXPECT_TRUE(acquireMutationLock(platform.platform(), 0)); }

  TestPlatform platform;
};

/// A clock whose every sleep does something first.
class ScriptedClock final : public Clock {
 public:
  Date now() const override { return {0}; }
  double systemUptime() const override {
    const double told = uptime;
    if (onUptime) onUptime();
    return told;
  }
  bool sleep(std::chrono::nanoseconds duration, std::stop_token) override {
    durations.push_back(duration);
    uptime += std::chrono::duration<double>(duration).count();
    if (onSleep) onSleep(uptime);
    return true;
  }

  double uptime = 0;
  std::vector<std::chrono::nanoseconds> durations;
  std::function<void(double uptime)> onSleep;
  std::function<void()> onUptime;
};

TEST_F(MutationLockTest, makesTheFileAndItsFolderForTheUserAlone) {
  ASSERT_FALSE(fs::exists(platform.warpDirectory()));
  const auto lock = acquireMutationLock(platform.platform());
  ASSERT_TRUE(lock);
  struct stat attributes{};
  ASSERT_EQ(stat(file().c_str(), &attributes), 0);
  EXPECT_EQ(attributes.st_mode & 07777, 0600u);
  EXPECT_FALSE(isUnlockedForOthers(file()));
}

TEST_F(MutationLockTest, isReleasedWithItsHolderAndTheFileStays) {
  {
    const auto lock = acquireMutationLock(platform.platform());
  }
  EXPECT_TRUE(fs::exists(file()));
  EXPECT_TRUE(isUnlockedForOthers(file()));
  expectFree();
}

TEST_F(MutationLockTest, releasesOnceHoweverOftenItsHolderMoves) {
  auto first = acquireMutationLock(platform.platform());
  ASSERT_TRUE(first);
  std::optional<TovrinWarpSharedMutationLock> second(std::move(*first));
  EXPECT_FALSE(isUnlockedForOthers(file()));
  *second = std::move(*second);
  EXPECT_FALSE(isUnlockedForOthers(file()));
  second.reset();
  EXPECT_TRUE(isUnlockedForOthers(file()));
  // Had the semaphore been signalled twice, two threads could hold the lock now.
  const auto held = acquireMutationLock(platform.platform(), 0);
  ASSERT_TRUE(held);
  expectBusy(acquireMutationLock(platform.platform(), 0));
}

TEST_F(MutationLockTest, triesOnceWithANegativeTimeout) {
  EXPECT_TRUE(acquireMutationLock(platform.platform(), -1));
  const auto held = acquireMutationLock(platform.platform(), -1);
  expectBusy(acquireMutationLock(platform.platform(), -1));
}

TEST_F(MutationLockTest, triesTheFileOnceWithANegativeTimeout) {
  const LockHolderProcess other(file());
  expectBusy(acquireMutationLock(platform.platform(), -1));
  EXPECT_EQ(platform.clock.sleeps(), 0);
}

TEST_F(MutationLockTest, waitsForAnotherProcessPollingEveryFiftyMilliseconds) {
  LockHolderProcess other(file());
  ScriptedClock clock;
  clock.onSleep = [&](double uptime) {
    if (uptime >= 2.0) other.release();
  };
  const auto lock = acquireMutationLock({clock, platform.directories, *platform.urlSession, platform.notifications}, 5);
  EXPECT_TRUE(lock);
  EXPECT_NEAR(clock.uptime, 2.0, 0.06);
  for (const auto duration : clock.durations) EXPECT_EQ(duration, std::chrono::milliseconds(50));
}

TEST_F(MutationLockTest, givesUpAtTheDeadlineAndGivesTheSemaphoreBack) {
  LockHolderProcess other(file());
  ScriptedClock clock;
  expectBusy(acquireMutationLock({clock, platform.directories, *platform.urlSession, platform.notifications}, 5));
  EXPECT_GE(clock.uptime, 5.0);
  EXPECT_LT(clock.uptime, 5.0 + 0.051);
  other.release();
  expectFree();
}

TEST_F(MutationLockTest, makesASecondThreadWaitForTheFirstHolder) {
  std::optional<TovrinWarpSharedMutationLock> first(*acquireMutationLock(platform.platform()));
  auto second =
      std::async(std::launch::async, [&] { return acquireMutationLock(platform.platform(), 60).has_value(); });
  EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  first.reset();
  EXPECT_TRUE(second.get());
  EXPECT_EQ(platform.clock.sleeps(), 0) << "it waits for the semaphore, not for the file";
}

TEST_F(MutationLockTest, isBusyForAThreadWhoseWaitRunsOut) {
  const auto held = acquireMutationLock(platform.platform(), 0);
  expectBusy(acquireMutationLock(platform.platform(), 0.05));
  EXPECT_FALSE(isUnlockedForOthers(file())) << "the failed attempt must not drop the holder's record lock";
}

TEST_F(MutationLockTest, spendsOneTimeBudgetOnSemaphoreAndFile) {
  const LockHolderProcess other(file());
  ScriptedClock clock;
  const Platform scripted{clock, platform.directories, *platform.urlSession, platform.notifications};
  // The deadline has passed when the semaphore is there at last: one look at the file, and no sleep.
  clock.onUptime = [&] { clock.uptime += 6; };
  expectBusy(acquireMutationLock(scripted, 5));
  EXPECT_TRUE(clock.durations.empty());
}

TEST_F(MutationLockTest, leavesNoDescriptorOpenWhenItFails) {
  const LockHolderProcess other(file());
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
  };
  const auto before = descriptors();
  for (int i = 0; i < 10; ++i) expectBusy(acquireMutationLock(platform.platform(), 0));
  EXPECT_EQ(descriptors(), before);
}

TEST_F(MutationLockTest, admitsOneThreadAtATime) {
  int inside = 0;
  int count = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&] {
        for (int round = 0; round < 50; ++round) {
          const auto lock = acquireMutationLock(platform.platform(), 60);
          ASSERT_TRUE(lock);
          EXPECT_EQ(++inside, 1);
          ++count;
          --inside;
        }
      });
  }
  EXPECT_EQ(count, 200);
}

TEST_F(MutationLockTest, isIndependentOfTheCachedItemsLock) {
  const auto mutation = acquireMutationLock(platform.platform(), 0);
  const auto cachedItems = acquireCachedItemsLock(platform.platform(), 0);
  EXPECT_TRUE(mutation);
  EXPECT_TRUE(cachedItems);
  EXPECT_FALSE(isUnlockedForOthers(platform.warpDirectory() / "warp-cached-items.lock"));
}

TEST_F(MutationLockTest, passesOnThatThereIsNoWarpDirectory) {
  platform.directories.container.reset();
  platform.directories.support.reset();
  const auto lock = acquireMutationLock(platform.platform());
  ASSERT_FALSE(lock);
  EXPECT_TRUE(lock.error().is(CocoaErrorCode::fileNoSuchFile));
}

TEST_F(MutationLockTest, passesOnThatTheFolderCannotBeMade) {
  writeFile(platform.warpDirectory(), "a file where the folder should be");
  const auto lock = acquireMutationLock(platform.platform());
  ASSERT_FALSE(lock);
  EXPECT_EQ(lock.error().domain(), NSCocoaErrorDomain);
  fs::remove(platform.warpDirectory());
  expectFree();
}

TEST_F(MutationLockTest, saysWhenTheFileCannotBeOpened) {
  fs::create_directories(file());
  const auto lock = acquireMutationLock(platform.platform());
  ASSERT_FALSE(lock);
  EXPECT_EQ(lock.error(), NSError::posix(EISDIR, "Tovrin could not open the shared Warp mutation lock."));
  fs::remove(file());
  expectFree();
}

/// From here on this process gets ENOLCK for every record lock, as from a file system without locks.
bool refuseRecordLocks() {
  std::array<sock_filter, 6> program{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fcntl, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, F_SETLK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOLCK),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{program.size(), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

TEST_F(MutationLockTest, saysWhenTheFileSystemCannotLock) {
  constexpr int kNoFilter = 77;
  const pid_t child = fork();
  if (child == 0) {
    if (!refuseRecordLocks()) _exit(kNoFilter);
    const auto lock = acquireMutationLock(platform.platform(), 5);
    const bool isSaid =
        !lock && lock.error() == NSError::posix(ENOLCK, "Tovrin could not lock shared Warp mutation state.");
    // Busy instead would mean that the first attempt kept the semaphore.
    const auto again = acquireMutationLock(platform.platform(), 0);
    const bool isGivenUp = !again && again.error().code() == ENOLCK && platform.clock.sleeps() == 0;
    _exit(isSaid && isGivenUp ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kNoFilter) GTEST_SKIP() << "this system has no system call filters";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace tovrin
