#include "support/loopback_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <utility>

namespace tovrin {

namespace {

sockaddr_in loopbackAddress(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<in_port_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int checked(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string("cannot ") + what + " on loopback");
  return result;
}

int newSocket() { return checked(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "make a socket"); }

}  // namespace

LoopbackSocket LoopbackSocket::refuse() {
  LoopbackSocket socket(newSocket());
  const sockaddr_in address = loopbackAddress(0);
  checked(::bind(socket.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  return socket;
}

LoopbackSocket LoopbackSocket::listen() {
  LoopbackSocket socket = refuse();
  checked(::listen(socket.descriptor_, SOMAXCONN), "listen");
  return socket;
}

LoopbackSocket LoopbackSocket::connect(int port) {
  LoopbackSocket socket(newSocket());
  const sockaddr_in address = loopbackAddress(port);
  checked(::connect(socket.descriptor_, reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
  return socket;
}

LoopbackSocket::LoopbackSocket(LoopbackSocket&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

LoopbackSocket::~LoopbackSocket() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

int LoopbackSocket::port() const {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  checked(::getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address), &length), "find the port");
  return ntohs(address.sin_port);
}

LoopbackSocket LoopbackSocket::accept() const {
  return LoopbackSocket(::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC));
}

bool LoopbackSocket::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

std::string LoopbackSocket::receive() const {
  std::string bytes(16 * 1024, '\0');
  ssize_t count = 0;
  do {
    count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
  } while (count < 0 && errno == EINTR);
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

std::string LoopbackSocket::receiveUntilClosed() const {
  std::string all;
  for (std::string bytes = receive(); !bytes.empty(); bytes = receive()) all += bytes;
  return all;
}

void LoopbackSocket::shutDown() const { ::shutdown(descriptor_, SHUT_RDWR); }

void LoopbackSocket::resetOnClose() const {
  const linger immediately = {.l_onoff = 1, .l_linger = 0};
  ::setsockopt(descriptor_, SOL_SOCKET, SO_LINGER, &immediately, sizeof immediately);
}

}  // namespace tovrin
