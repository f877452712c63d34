#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tovrin {

/// Another program that serves a test. It ends with the object, and with the test if that crashes.
class ServerProcess {
 public:
  struct Options {
    std::vector<std::string> environment;  ///< "NAME=value", beside the test's own
    int passedDescriptor = -1;             ///< becomes descriptor 3 of the program
  };
  /// Finds the program in PATH and in the system's sbin folders. Throws when it cannot be started.
  ServerProcess(std::vector<std::string> arguments, const Options& options);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  /// Asks the program and its children to end, and waits for that; its sockets are closed then. May be called again.
  void end();

 private:
  pid_t process_ = -1;
};

}  // namespace tovrin
