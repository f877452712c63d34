#include "host/control/control_socket.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace tovrin::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kBacklog = 64;
/// A host that does not take connections for so long is not going to.
constexpr timeval kConnectPatience{10, 0};

Result<sockaddr_un> addressOf(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.native().size() >= sizeof address.sun_path) return failure(NSError::posix(ENAMETOOLONG));
  std::ranges::copy(path.native(), address.sun_path);
  return address;
}

const sockaddr* generic(const sockaddr_un& address) { return reinterpret_cast<const sockaddr*>(&address); }

/// Waits until the descriptor is ready for `events`.
class Patience {
 public:
  explicit Patience(const ControlSocket::Waiting& waiting) : wake_(waiting.wake) {
    if (waiting.patience) deadline_ = Clock::now() + *waiting.patience;
  }

  Result<void> waitFor(int descriptor, short events) const {
    std::array<pollfd, 2> sources{pollfd{descriptor, events, 0}, pollfd{wake_, POLLIN, 0}};
    const int ready = poll(sources.data(), sources.size(), millisecondsLeft());
    if (ready < 0 && errno != EINTR) return failure(NSError::posix(errno));
    if (ready == 0) return failure(NSError::posix(ETIMEDOUT));
    if (ready > 0 && sources[1].revents != 0) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
    return {};
  }

 private:
  int millisecondsLeft() const {
    if (!deadline_) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
  }

  int wake_;
  std::optional<Clock::time_point> deadline_;
};

bool shouldTryAgain() { return errno == EAGAIN || errno == EINTR; }

}  // namespace

Result<ControlSocket> ControlSocket::connect(const std::filesystem::path& path) {
  TOVRIN_TRY(const sockaddr_un address, addressOf(path));
  ControlSocket socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (socket.descriptor_ < 0) return failure(NSError::posix(errno));
  setsockopt(socket.descriptor_, SOL_SOCKET, SO_SNDTIMEO, &kConnectPatience, sizeof kConnectPatience);
  if (::connect(socket.descriptor_, generic(address), sizeof address) != 0) return failure(NSError::posix(errno));
  return socket;
}

Result<ControlSocket> ControlSocket::listen(const std::filesystem::path& path) {
  TOVRIN_TRY(const sockaddr_un address, addressOf(path));
  ControlSocket socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (socket.descriptor_ < 0) return failure(NSError::posix(errno));
  // On Linux the mode of a socket that is bound is that of its descriptor.
  const bool isListening = fchmod(socket.descriptor_, S_IRUSR | S_IWUSR) == 0 &&
                           bind(socket.descriptor_, generic(address), sizeof address) == 0 &&
                           ::listen(socket.descriptor_, kBacklog) == 0;
  if (!isListening) return failure(NSError::posix(errno));
  return socket;
}

std::optional<ControlSocket> ControlSocket::accept() const {
  ControlSocket connection(accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC));
  if (connection.descriptor_ < 0) return std::nullopt;
  return connection;
}

ControlSocket::ControlSocket(ControlSocket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

ControlSocket& ControlSocket::operator=(ControlSocket&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

ControlSocket::~ControlSocket() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool ControlSocket::isTrusted() const {
  ucred other{};
  socklen_t size = sizeof other;
  if (getsockopt(descriptor_, SOL_SOCKET, SO_PEERCRED, &other, &size) != 0) return false;
  return other.uid == geteuid() || other.uid == 0;
}

Result<void> ControlSocket::sendLine(std::string line, const Waiting& waiting) const {
  const Patience patience(waiting);
  line += '\n';
  std::string_view left = line;
  while (!left.empty()) {
    const ssize_t sent = send(descriptor_, left.data(), left.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent >= 0) {
      left.remove_prefix(static_cast<std::size_t>(sent));
      continue;
    }
    if (!shouldTryAgain()) return failure(NSError::posix(errno));
    TOVRIN_CHECK(patience.waitFor(descriptor_, POLLOUT));
  }
  return {};
}

Result<std::string> ControlSocket::receiveLine(std::size_t limit, const Waiting& waiting) const {
  const Patience patience(waiting);
  std::string line;
  while (true) {
    TOVRIN_CHECK(patience.waitFor(descriptor_, POLLIN));
    std::array<char, 65536> bytes;
    const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count < 0 && shouldTryAgain()) continue;
    if (count < 0) return failure(NSError::posix(errno));
    if (count == 0) return failure(NSError::posix(ECONNRESET));
    const std::string_view received(bytes.data(), static_cast<std::size_t>(count));
    const std::string_view rest = received.substr(0, received.find('\n'));
    if (line.size() + rest.size() > limit) return failure(NSError::posix(EMSGSIZE));
    line += rest;
    if (rest.size() < received.size()) return line;
  }
}

}  // namespace tovrin::host
