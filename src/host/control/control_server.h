#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "foundation/result.h"
#include "host/control/control_folder.h"
#include "host/control/control_socket.h"
#include "host/control/mount_control.h"
#include "host/wake_event.h"
#include "platform/directories.h"

namespace tovrin::host {

/// Answers what other processes of this user ask a running mount, on a socket that is named after its domain. Has
/// threads of its own, one and one more per connection; a connection is one request. When the other process goes away,
/// what it asked for is stopped. Nothing that arrives on the socket harms the host: what is no request is answered with
/// an error or cut off.
class ControlServer {
 public:
  struct Limits {
    std::chrono::milliseconds patience = std::chrono::seconds(60);  ///< for a request to arrive, an answer to be taken
    std::size_t connections = 32;                                   ///< at once; further ones wait
  };

  /// `control` must outlive the server. A socket that a dead host left is replaced; where a live one answers, the error
  /// says so.
  static Result<std::unique_ptr<ControlServer>> start(MountControl& control, const Directories& directories,
                                                      Limits limits);
  static Result<std::unique_ptr<ControlServer>> start(MountControl& control, const Directories& directories) {
    return start(control, directories, Limits());
  }

  /// Removes the socket, stops every request that goes on, and waits for it.
  ~ControlServer();
  ControlServer(const ControlServer&) = delete;
  ControlServer& operator=(const ControlServer&) = delete;

 private:
  struct Connection;

  ControlServer(MountControl& control, ControlFolder folder, std::string name, ControlSocket listener, Limits limits);
  void run();
  void waitForNews();
  void acceptConnection();
  void forgetEnded();
  void serve(Connection& connection) const;
  void removeSocket() const;

  MountControl& control_;
  const ControlFolder folder_;
  const std::string name_;
  const std::uint64_t inode_;  ///< of our socket: another host may have put its own in the place
  const Limits limits_;
  const ControlSocket listener_;
  const WakeEvent stopping_;
  const WakeEvent connectionEnded_;
  std::list<Connection> connections_;  ///< touched by `run` only
  std::jthread thread_;                ///< last: joined before anything that it uses goes
};

}  // namespace tovrin::host
