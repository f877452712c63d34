#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <optional>

#include "host/control/control_client.h"
#include "host/control/control_folder.h"
#include "host/control/control_messages.h"
#include "host/control/control_server.h"
#include "host/control/control_socket.h"
#include "host/domain_key.h"
#include "host/fake_mount.h"
#include "support/environment_variable.h"
#include "support/test_platform.h"

namespace tovrin::host {

/// A status with something in every place, and with bytes that are hard to carry.
MountStatus richStatus();

/// A fake mount, to be served and asked in a runtime directory of the test's own.
class Control : public testing::Test {
 protected:
  Control();

  std::unique_ptr<ControlServer> serve(ControlServer::Limits limits = {}) {
    auto server = ControlServer::start(mount_, platform_.directories, limits);
    EXPECT_TRUE(server) << server.error().localizedDescription();
    return server ? *std::move(server) : nullptr;
  }
  std::optional<ControlClient> client() const { return ControlClient::find(platform_.directories); }
  std::filesystem::path socket() const {
    return runtime_ / "tovrin" / ControlFolder::socketName(domainKey(platform_.warpDirectory()));
  }
  /// What the server answers to these bytes.
  Result<std::string> answerTo(std::string line) const {
    auto connection = ControlSocket::connect(socket());
    if (!connection) return failure(connection.error());
    std::ignore = connection->sendLine(std::move(line), {});
    return connection->receiveLine(kLongestAnswerBytes, {});
  }

  TestPlatform platform_;
  std::filesystem::path runtime_ = platform_.scratch / "run";
  EnvironmentVariable runtimeVariable_{"XDG_RUNTIME_DIR", runtime_};
  FakeMount mount_;
};

/// Another process, which runs `work` until it is killed, with the object at the latest.
class OtherProcess {
 public:
  /// Returns when `work` has called what it is given.
  explicit OtherProcess(const std::function<void(const std::function<void()>& ready)>& work);
  ~OtherProcess() { kill(); }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  bool isReady() const { return isReady_; }
  void kill();

 private:
  pid_t process_ = -1;
  bool isReady_ = false;
};

}  // namespace tovrin::host
