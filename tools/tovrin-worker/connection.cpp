#include "tovrin-worker/connection.h"

#include <poll.h>
#include <sys/sendfile.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

namespace tovrin::worker {
namespace {

constexpr std::size_t kMostHeadBytes = 1 << 20;
constexpr std::size_t kReadBytes = 64 << 10;

bool wouldBlock() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

std::optional<std::int64_t> parseLength(std::string_view text, int base) {
  std::int64_t length = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length, base);
  if (error != std::errc() || end != text.data() + text.size() || length < 0) return std::nullopt;
  return length;
}

}  // namespace

Connection::Wait Connection::wait(short events, std::optional<std::chrono::milliseconds> timeout) {
  while (true) {
    std::array<pollfd, 2> waits{{{socket_.number(), events, 0}, {stopEvent_, POLLIN, 0}}};
    const int count = ::poll(waits.data(), waits.size(), timeout ? static_cast<int>(timeout->count()) : -1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || waits[1].revents != 0) return Wait::stopped;
    return count == 0 ? Wait::timedOut : Wait::ready;
  }
}

bool Connection::fill() {
  while (wait(POLLIN, std::nullopt) == Wait::ready) {
    const std::size_t before = buffer_.size();
    buffer_.resize(before + kReadBytes);
    const ssize_t count = ::recv(socket_.number(), buffer_.data() + before, kReadBytes, 0);
    buffer_.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (count > 0) return true;
    if (count == 0 || !wouldBlock()) return false;
  }
  return false;
}

Connection::HeadOutcome Connection::readHead(RequestHead& head) {
  constexpr std::string_view kEnd = "\r\n\r\n";
  std::size_t searched = 0;
  while (true) {
    const auto end = buffer_.find(kEnd, searched);
    if (end != std::string::npos) {
      auto parsed = parseRequestHead(std::string_view(buffer_).substr(0, end + kEnd.size()));
      buffer_.erase(0, end + kEnd.size());
      if (!parsed) return HeadOutcome::malformed;
      head = std::move(*parsed);
      return HeadOutcome::request;
    }
    if (buffer_.size() > kMostHeadBytes) return HeadOutcome::tooLarge;
    searched = buffer_.size() < kEnd.size() ? 0 : buffer_.size() - (kEnd.size() - 1);
    if (!fill()) return HeadOutcome::closed;
  }
}

bool Connection::readExactly(std::int64_t count, const std::function<bool(std::string_view)>& sink) {
  while (count > 0) {
    if (buffer_.empty() && !fill()) return false;
    const auto taken =
        static_cast<std::size_t>(std::min<std::int64_t>(count, static_cast<std::int64_t>(buffer_.size())));
    if (!sink(std::string_view(buffer_).substr(0, taken))) return false;
    buffer_.erase(0, taken);
    count -= static_cast<std::int64_t>(taken);
  }
  return true;
}

std::optional<std::string> Connection::readLine() {
  while (true) {
    if (const auto end = buffer_.find("\r\n"); end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 2);
      return line;
    }
    if (buffer_.size() > kMostHeadBytes || !fill()) return std::nullopt;
  }
}

bool Connection::readBody(const RequestHead& head, const std::function<bool(std::string_view)>& sink) {
  const std::string* coding = head.header("Transfer-Encoding");
  const std::string* declared = head.header("Content-Length");
  if (!coding && !declared) return true;
  if (const std::string* expect = head.header("Expect"); expect && sameHeaderName(*expect, "100-continue")) {
    if (!send("HTTP/1.1 100 Continue\r\n\r\n")) return false;
  }
  if (!coding) {
    const auto length = parseLength(*declared, 10);
    return length && readExactly(*length, sink);
  }
  if (!sameHeaderName(*coding, "chunked")) return false;
  while (true) {
    const auto line = readLine();
    if (!line) return false;
    const auto length = parseLength(std::string_view(*line).substr(0, line->find(';')), 16);
    if (!length) return false;
    if (*length == 0) break;
    if (!readExactly(*length, sink)) return false;
    const auto end = readLine();
    if (!end || !end->empty()) return false;
  }
  while (const auto trailer = readLine()) {
    if (trailer->empty()) return true;
  }
  return false;
}

bool Connection::send(std::string_view bytes, Following following) {
  const int flags = MSG_NOSIGNAL | (following == Following::more ? MSG_MORE : 0);
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket_.number(), bytes.data(), bytes.size(), flags);
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (!wouldBlock() || wait(POLLOUT, std::nullopt) != Wait::ready) {
      return false;
    }
  }
  return true;
}

bool Connection::sendFile(int file, std::int64_t offset, std::int64_t count) {
  constexpr std::int64_t kMostAtOnce = 1 << 20;
  off_t position = offset;
  const off_t end = offset + count;
  while (position < end) {
    const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(end - position, kMostAtOnce));
    const ssize_t sent = ::sendfile(socket_.number(), file, &position, wanted);
    if (sent == 0) return false;  // the file was truncated meanwhile
    if (sent < 0 && (!wouldBlock() || wait(POLLOUT, std::nullopt) != Wait::ready)) return false;
  }
  return true;
}

bool Connection::hold(std::optional<double> seconds, const std::function<bool()>& released) {
  using std::chrono::steady_clock;
  // A release has no descriptor to wait for, so it is looked at this often.
  constexpr std::chrono::milliseconds kGlance{20};
  const auto start = steady_clock::now();
  while (!released()) {
    std::chrono::milliseconds timeout = kGlance;
    if (seconds) {
      const std::chrono::duration<double> left =
          std::chrono::duration<double>(*seconds) - (steady_clock::now() - start);
      if (left.count() <= 0) return true;
      timeout = std::min(timeout, std::chrono::ceil<std::chrono::milliseconds>(left));
    }
    if (wait(POLLRDHUP, timeout) != Wait::timedOut) return false;
  }
  return true;
}

void Connection::lingerAndClose() {
  constexpr std::chrono::milliseconds kPatience{1000};
  constexpr std::size_t kMostDropped = 4 << 20;
  ::shutdown(socket_.number(), SHUT_WR);
  std::array<char, kReadBytes> dropped;
  for (std::size_t total = 0; total < kMostDropped;) {
    if (wait(POLLIN, kPatience) != Wait::ready) break;
    const ssize_t count = ::recv(socket_.number(), dropped.data(), dropped.size(), 0);
    if (count == 0 || (count < 0 && !wouldBlock())) break;
    if (count > 0) total += static_cast<std::size_t>(count);
  }
  socket_ = Descriptor();
}

}  // namespace tovrin::worker
