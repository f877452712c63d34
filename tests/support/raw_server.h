#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/loopback_socket.h"

namespace tovrin {

/// One connection to a RawServer, used by its script on a thread of its own.
class RawConnection {
 public:
  explicit RawConnection(LoopbackSocket socket) : socket_(std::move(socket)) {}

  /// The next request's head with its empty line; empty when there is none any more.
  std::string readRequest();
  /// False when the client has gone.
  bool send(std::string_view bytes) { return socket_.send(bytes); }
  /// Says nothing until the client has gone or the server ends.
  void waitUntilClosed() { std::ignore = socket_.receiveUntilClosed(); }
  /// The client will see a connection reset instead of its end.
  void resetOnClose() { socket_.resetOnClose(); }

 private:
  friend class RawServer;
  LoopbackSocket socket_;
  std::string pending_;  ///< received behind the last request
};

/// A server that sends exactly the bytes its script says, so that it can do what no real server lets itself be told to:
/// stall, cut, drip, lie. A connection is closed when its script returns.
class RawServer {
 public:
  /// Gets each connection with its number, from 0 in the order of arrival. Several scripts may run at once.
  using Script = std::function<void(RawConnection&, int number)>;

  explicit RawServer(Script script);
  /// Ends connections that are open still.
  ~RawServer();
  RawServer(const RawServer&) = delete;
  RawServer& operator=(const RawServer&) = delete;

  int port() const { return listener_.port(); }
  std::string address() const { return "127.0.0.1:" + std::to_string(port()); }
  std::string url(std::string_view target = "/") const { return "http://" + address() + std::string(target); }
  int connections() const;

 private:
  void accept();
  void serve(RawConnection& connection, int number);

  Script script_;
  LoopbackSocket listener_;
  mutable std::mutex lock_;
  std::list<RawConnection> open_;
  std::vector<std::thread> scripts_;
  bool ending_ = false;
  std::thread acceptor_;
};

/// A whole response with a Content-Length.
std::string httpResponse(int status, std::string_view body, std::string_view extraHeaderLines = {});

/// Answers every request of a connection, until the client closes it.
RawServer::Script answering(std::function<std::string(const std::string& request)> answer);

}  // namespace tovrin
