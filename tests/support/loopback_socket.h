#pragma once

#include <string>
#include <string_view>

namespace tovrin {

/// A TCP socket on 127.0.0.1, closed with the object. Failures of the system throw; a peer that goes away does not.
class LoopbackSocket {
 public:
  /// Listens on a free port.
  static LoopbackSocket listen();
  /// Bound to a free port but not listening: connections to it are refused, and nobody else gets the port.
  static LoopbackSocket refuse();
  static LoopbackSocket connect(int port);

  LoopbackSocket(LoopbackSocket&& other) noexcept;
  LoopbackSocket& operator=(LoopbackSocket&&) = delete;
  ~LoopbackSocket();

  int port() const;
  int descriptor() const { return descriptor_; }

  /// The next connection; an invalid socket (`descriptor() < 0`) once `shutDown` was called.
  LoopbackSocket accept() const;
  /// False when the peer has gone.
  bool send(std::string_view bytes) const;
  /// What has arrived, at least a byte of it; empty when the peer has closed or gone, or after `shutDown`.
  std::string receive() const;
  std::string receiveUntilClosed() const;
  /// Ends calls that wait on this socket in other threads.
  void shutDown() const;
  /// The peer will see a connection reset instead of its end.
  void resetOnClose() const;

 private:
  explicit LoopbackSocket(int descriptor) : descriptor_(descriptor) {}
  int descriptor_;
};

}  // namespace tovrin
