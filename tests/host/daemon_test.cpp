#include "host/mounting/daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>

#include "host/mounting/stop_signals.h"
#include "support/child_process.h"
#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

/// What a daemon has to say: it closes what it inherits, so it writes to a pipe that has a name.
class Diary {
 public:
  Diary() : file_(scratch_ / "diary") { EXPECT_EQ(mkfifo(file_.c_str(), 0600), 0); }

  /// For the daemon: writes one line. Waits until somebody reads.
  void note(const std::string& line) const {
    const int descriptor = open(file_.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(write(descriptor, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    close(descriptor);
  }
  /// For the test: all that one daemon noted.
  std::string read() const { return readFile(file_); }

 private:
  const ScratchFolder scratch_;
  std::filesystem::path file_;
};

class Daemon : public ::testing::Test {
 protected:
  Daemon() : interruption_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Daemon() override { close(interruption_); }

  int interruption_;
  const Diary diary_;
};

TEST_F(Daemon, isLeftBehindOnceItIsReady) {
  const pid_t session = getsid(0);
  ASSERT_TRUE(startDaemon(
      [&](const std::function<void()>& ready) -> Result<void> {
        EXPECT_NE(getsid(0), session);
        EXPECT_EQ(std::filesystem::current_path(), "/");
        ready();
        std::array<char, 64> target{};
        for (const char* stream : {"/proc/self/fd/0", "/proc/self/fd/1", "/proc/self/fd/2"}) {
          target.fill('\0');
          EXPECT_GT(readlink(stream, target.data(), target.size() - 1), 0);
          EXPECT_STREQ(target.data(), "/dev/null");
        }
        EXPECT_EQ(fcntl(3, F_GETFD), -1) << "holds open what is not its own";
        ready();  // a second time is harmless
        diary_.note(::testing::Test::HasFailure() ? "failed" : "served");
        return {};
      },
      interruption_));
  EXPECT_EQ(diary_.read(), "served");
}

TEST_F(Daemon, thatFailsBeforeItIsReadyTellsWhy) {
  const auto started =
      startDaemon([](const auto&) -> Result<void> { return failure(NSError::posix(EBUSY, "It is “taken”,\nsorry.")); },
                  interruption_);
  ASSERT_FALSE(started);
  EXPECT_EQ(started.error(), NSError::posix(EBUSY, "It is “taken”,\nsorry."));
}

TEST_F(Daemon, thatDiesBeforeItIsReadyIsNoSuccess) {
  const auto killed = startDaemon([](const auto&) -> Result<void> { std::abort(); }, interruption_);
  ASSERT_FALSE(killed);
  EXPECT_EQ(killed.error().localizedDescription(), "The process that should serve it ended by signal 6.");
  const auto ended = startDaemon([](const auto&) -> Result<void> { return {}; }, interruption_);
  ASSERT_FALSE(ended);
  EXPECT_EQ(ended.error().localizedDescription(), "The process that should serve it ended with status 0.");
}

TEST_F(Daemon, isStoppedWhenItsStarterIsInterrupted) {
  eventfd_write(interruption_, 1);
  const auto started = startDaemon(
      [](const auto&) -> Result<void> {
        const StopSignals signals([] {});
        std::mutex lock;
        std::condition_variable_any never;
        std::unique_lock hold(lock);
        never.wait(hold, signals.token(), [] { return false; });
        return {};
      },
      interruption_);
  ASSERT_FALSE(started);
  EXPECT_TRUE(started.error().is(CocoaErrorCode::userCancelled));
}

TEST(StopSignals, askToStopAndThenInsist) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EQ(inChild([&] {
                std::mutex lock;
                std::condition_variable_any changed;
                bool insisted = false;
                const StopSignals signals([&] {
                  const std::lock_guard hold(lock);
                  insisted = true;
                  changed.notify_all();
                });
                EXPECT_FALSE(signals.token().stop_requested());
                std::unique_lock hold(lock);
                kill(getpid(), number);
                changed.wait(hold, signals.token(), [] { return false; });
                EXPECT_TRUE(signals.token().stop_requested());
                EXPECT_FALSE(insisted);
                kill(getpid(), number);
                changed.wait(hold, [&] { return insisted; });
              }),
              0)
        << number;
  }
}

TEST(StopSignals, leaveIgnoredSignalsIgnored) {
  EXPECT_EQ(inChild([] {
              signal(SIGHUP, SIG_IGN);
              std::atomic<bool> insisted = false;
              const StopSignals signals([&] { insisted = true; });
              kill(getpid(), SIGHUP);
              // One that is blocked would wait for the thread that listens.
              sigset_t pending;
              sigset_t blocked;
              sigpending(&pending);
              pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
              EXPECT_FALSE(sigismember(&pending, SIGHUP) || sigismember(&blocked, SIGHUP));
              std::mutex lock;
              std::condition_variable_any changed;
              std::unique_lock hold(lock);
              kill(getpid(), SIGTERM);
              changed.wait(hold, signals.token(), [] { return false; });
              EXPECT_FALSE(insisted) << "the ignored one was the first";
            }),
            0);
}

TEST(StopSignals, areReceivedAsBeforeAfterwards) {
  EXPECT_EQ(inChild([] {
              {
                const StopSignals signals([] {});
              }
              raise(SIGTERM);
            }),
            -SIGTERM);
}

}  // namespace
}  // namespace tovrin::host
