#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>

#include "mount/lifecycle_fixture.h"
#include "support/lock_holder.h"

namespace tovrin {

namespace {

/// Where systemd would listen.
class NotifySocket {
 public:
  explicit NotifySocket(std::filesystem::path path)
      : path_(std::move(path)), descriptor_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.native().copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const timeval patience{20, 0};
    setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }
  ~NotifySocket() { close(descriptor_); }
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  const std::filesystem::path& path() const { return path_; }
  /// The next message, waiting for it; empty when none comes.
  std::string receive() const { return receive(0); }
  /// The next one of those that have come.
  std::string received() const { return receive(MSG_DONTWAIT); }

 private:
  std::string receive(int flags) const {
    std::array<char, 4096> bytes{};
    const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), flags);
    return count < 0 ? "" : std::string(bytes.data(), static_cast<std::size_t>(count));
  }

  std::filesystem::path path_;
  int descriptor_;
};

/// A mount as a service manager runs it: in front, told by signals.
class Service : public LifecycleTest {
 protected:
  Service() : socket_(scratch_ / "notify") {}
  /// `tovrin mount --foreground $M`, and the lines once it has told that it is ready. Prints its status and its log.
  std::unique_ptr<RunningProgram> serve(const std::string& whenReady) const {
    auto service = startSystem("export NOTIFY_SOCKET='" + socket_.path().string() + "'\n" + R"sh(
rm -f ready
env --default-signal tovrin mount --foreground $M 2>log & host=$!   # a shell lets its background jobs ignore SIGINT
trap 'cat log' EXIT
until_true test -e ready
)sh" + whenReady + R"sh(
status=0; wait $host || status=$?
echo status $status
settled
)sh");
    EXPECT_EQ(socket_.receive(), "READY=1\nSTATUS=Mounted at " + mountpoint().string());
    writeFile(work() / "ready", "");
    return service;
  }

  const NotifySocket socket_;
};

constexpr const char* kStopping = "STOPPING=1\nSTATUS=Handing over edits and unmounting";

TEST_F(Service, isReadyWhenTheMountAnswersAndStopsWhenTold) {
  for (const char* signal : {"TERM", "INT", "HUP"}) {
    const auto service = serve(std::string("ls $M; kill -") + signal + " $host");
    const Ended ended = service->finish();
    EXPECT_TRUE(ended.output.starts_with("Warped Files\nstatus 0\n")) << signal << ": " << ended.output;
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(socket_.received(), kStopping);
    EXPECT_EQ(socket_.received(), "");
  }
}

TEST_F(Service, endsWellAndIsNotStoppedWhenSomebodyUnmounts) {
  const Ended ended = serve("umount $M")->finish();
  EXPECT_TRUE(ended.output.starts_with("status 0\n")) << ended.output;
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(socket_.received(), "");
}

TEST_F(Service, thatCannotMountIsNeverReady) {
  const Ended ended = system("export NOTIFY_SOCKET='" + socket_.path().string() +
                             "'\ntouch $M/file\nrefused tovrin mount --foreground $M");
  EXPECT_EQ(ended.status, 0) << ended.output;
  EXPECT_EQ(socket_.received(), "");
}

TEST_F(Service, handsOverWhatWasEditedBeforeItEnds) {
  const Ended ended = serve(R"sh(
exec {file}>>$D/notes.txt
echo more >&$file   # not flushed: nobody has closed it
kill -TERM $host
)sh")
                          ->finish();
  EXPECT_TRUE(ended.output.starts_with("status 0\n")) << ended.output;
  mount();
  EXPECT_EQ(readFile(shown() / "notes.txt"), "hello\nmore\n");
}

TEST_F(Service, endsAtOnceWhenToldTwice) {
  // What keeps it from ending is an edit: another process holds the lock that it takes.
  LockHolderProcess lock(platform_.warpDirectory() / "warp-mutation.lock");
  const auto service = serve(R"sh(
(echo more >>$D/notes.txt) 2>/dev/null &
waits() { [[ $(tovrin status --json) == *'"state":"unsaved"'* ]]; }
until_true waits
kill -TERM $host
until_true test -e told
kill -TERM $host
)sh");
  EXPECT_EQ(socket_.receive(), kStopping);
  writeFile(work() / "told", "");
  const Ended ended = service->finish();
  EXPECT_TRUE(ended.output.starts_with("status 130\n")) << ended.output;
  EXPECT_EQ(ended.output.find("are kept for the next mount"), std::string::npos) << "it has waited: " << ended.output;
  lock.release();
  mount();
  EXPECT_TRUE(eventually([&] { return readFile(shown() / "notes.txt") == "hello\nmore\n"; }));
}

}  // namespace

}  // namespace tovrin
