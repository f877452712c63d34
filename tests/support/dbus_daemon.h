#pragma once

#include <optional>
#include <string>

#include "support/scratch_folder.h"
#include "support/server_process.h"

namespace tovrin {

/// A private session bus in a folder of its own. While the object lives, DBUS_SESSION_BUS_ADDRESS names its address,
/// whether the daemon runs or not; afterwards the variable is as before.
class PrivateBus {
 public:
  /// The address is there, the daemon is not yet.
  PrivateBus();
  ~PrivateBus();

  const std::string& address() const { return address_; }
  /// Returns when the bus takes connections.
  void start();
  /// Ends the daemon, and with it every connection.
  void stop();

 private:
  ScratchFolder folder_;
  std::string address_;
  std::optional<std::string> previousAddress_;
  std::optional<ServerProcess> daemon_;
};

}  // namespace tovrin
