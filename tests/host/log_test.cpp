#include "host/log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/child_process.h"
#include "support/scratch_folder.h"

namespace tovrin::host {
namespace {

using log::Destination;
using log::Level;

class Log : public ::testing::Test {
 protected:
  /// What a process writes to standard error.
  std::string standardErrorOf(const std::function<void()>& run) {
    const auto file = scratch_ / "stderr";
    EXPECT_EQ(inChild([&] {
                dup2(open(file.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600), STDERR_FILENO);
                unsetenv("JOURNAL_STREAM");
                run();
              }),
              0);
    return readFile(file);
  }

  const ScratchFolder scratch_;
};

/// As systemd tells a service whose standard error goes to the journal.
void pretendThatStandardErrorIsTheJournal() {
  struct stat status{};
  fstat(STDERR_FILENO, &status);
  setenv("JOURNAL_STREAM", fmt::format("{}:{}", status.st_dev, status.st_ino).c_str(), 1);
}

TEST_F(Log, writesPlainLinesToStandardError) {
  EXPECT_EQ(standardErrorOf([] {
              log::setUp(Destination::standardError, Level::notice);
              log::warning("the {} is {} GiB", "cache", 3);
              log::notice("mounted");
            }),
            "tovrin: the cache is 3 GiB\ntovrin: mounted\n");
}

TEST_F(Log, writesPrioritiesWhereTheJournalReads) {
  EXPECT_EQ(standardErrorOf([] {
              pretendThatStandardErrorIsTheJournal();
              log::setUp(Destination::standardError, Level::debug);
              log::error("a");
              log::warning("b");
              log::notice("c");
              log::info("d");
              log::debug("e");
            }),
            "<3>a\n<4>b\n<5>c\n<6>d\n<7>e\n");
}

TEST_F(Log, writesNoPrioritiesWhereAJournaledServiceRedirectedIt) {
  EXPECT_EQ(standardErrorOf([] {
              setenv("JOURNAL_STREAM", "8:4711", 1);
              log::setUp(Destination::standardError, Level::notice);
              log::error("a");
            }),
            "tovrin: a\n");
}

TEST_F(Log, dropsWhatNobodyAskedFor) {
  EXPECT_EQ(standardErrorOf([] {
              log::setUp(Destination::standardError, Level::notice);
              EXPECT_TRUE(log::isEnabled(Level::notice));
              EXPECT_FALSE(log::isEnabled(Level::info));
              log::info("a");
              log::setUp(Destination::standardError, Level::info);
              log::info("b");
              log::debug("c");
            }),
            "tovrin: b\n");
}

TEST_F(Log, keepsAMessageOnOneLine) {
  EXPECT_EQ(standardErrorOf([] {
              log::setUp(Destination::standardError, Level::notice);
              log::notice("cannot open {}", "a\n<0>b\x1b[31m\xFF");
            }),
            "tovrin: cannot open a\\n<0>b\\033[31m\\377\n");
}

TEST_F(Log, keepsTheLinesOfManyThreadsApart) {
  const std::string text = standardErrorOf([] {
    log::setUp(Destination::standardError, Level::notice);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread) {
      threads.emplace_back([] {
        for (int line = 0; line < 100; ++line) log::notice("{}", std::string(200, 'x'));
      });
    }
  });
  const std::string line = "tovrin: " + std::string(200, 'x') + "\n";
  ASSERT_EQ(text.size(), line.size() * 400);
  for (std::size_t start = 0; start < text.size(); start += line.size())
    ASSERT_EQ(text.compare(start, line.size(), line), 0);
}

/// A socket that receives datagrams, at a path that exists in this process only.
class PrivateSocket {
 public:
  explicit PrivateSocket(const std::string& path) : descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << path;
    const timeval patience{.tv_sec = 20, .tv_usec = 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  ~PrivateSocket() { close(descriptor_); }
  PrivateSocket(const PrivateSocket&) = delete;
  PrivateSocket& operator=(const PrivateSocket&) = delete;

  std::string receive() const {
    std::string bytes(65536, '\0');
    const ssize_t received = recv(descriptor_, bytes.data(), bytes.size(), 0);
    bytes.resize(received < 0 ? 0 : static_cast<std::size_t>(received));
    return bytes;
  }

 private:
  int descriptor_;
};

/// Mounts an empty file system over a folder, for this process only.
void hideFolder(const char* folder) {
  keepMountsPrivate();
  ASSERT_EQ(mount("tmpfs", folder, "tmpfs", 0, "size=1m"), 0) << folder;
}

TEST_F(Log, reachesTheJournal) {
  const int status = inChild([] {
    hideFolder("/run");
    std::filesystem::create_directories("/run/systemd/journal");
    const PrivateSocket journal("/run/systemd/journal/socket");
    log::setUp(Destination::system, Level::notice);
    log::info("too much");
    log::warning("first\nsecond");
    const std::string record = journal.receive();
    EXPECT_NE(record.find("MESSAGE=first\\nsecond\n"), std::string::npos) << record;
    EXPECT_NE(record.find("PRIORITY=4\n"), std::string::npos) << record;
    EXPECT_NE(record.find("SYSLOG_IDENTIFIER=tovrin\n"), std::string::npos) << record;
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

TEST_F(Log, reachesSyslogWhereThereIsNoJournal) {
  const int status = inChild([] {
    hideFolder("/run");
    hideFolder("/dev");
    const PrivateSocket syslog("/dev/log");
    log::setUp(Destination::system, Level::notice);
    log::error("100 %s lost");
    const std::string record = syslog.receive();
    EXPECT_TRUE(record.starts_with("<11>")) << record;  // of a user's program, an error
    EXPECT_NE(record.find(fmt::format(" tovrin[{}]: 100 %s lost", getpid())), std::string::npos) << record;
  });
  if (status == kCannotTest) GTEST_SKIP() << "cannot mount";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tovrin::host
