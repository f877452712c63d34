#pragma once

#include <memory>

#include "cli/command_fixture.h"
#include "host/control/control_server.h"
#include "host/fake_mount.h"
#include "support/environment_variable.h"

namespace tovrin {

/// The program beside a mount of the container that this process plays.
class MountedCommand : public Command {
 protected:
  void startMount() {
    auto server = host::ControlServer::start(mount_, platform_.directories);
    ASSERT_TRUE(server) << server.error().localizedDescription();
    server_ = *std::move(server);
  }
  void stopMount() { server_.reset(); }

  host::FakeMount mount_;

 private:
  EnvironmentVariable runtimeVariable_{"XDG_RUNTIME_DIR", runtime()};
  std::unique_ptr<host::ControlServer> server_;
};

}  // namespace tovrin
