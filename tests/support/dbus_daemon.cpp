#include "support/dbus_daemon.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <stdexcept>

namespace tovrin {

namespace {

constexpr const char* kAddressVariable = "DBUS_SESSION_BUS_ADDRESS";

}  // namespace

PrivateBus::PrivateBus() : address_("unix:path=" + (folder_ / "bus").native()) {
  if (const char* previous = getenv(kAddressVariable); previous != nullptr) previousAddress_ = previous;
  setenv(kAddressVariable, address_.c_str(), 1);
}

PrivateBus::~PrivateBus() {
  if (previousAddress_)
    setenv(kAddressVariable, previousAddress_->c_str(), 1);
  else
    unsetenv(kAddressVariable);
}

void PrivateBus::start() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("cannot make a pipe");
  // The daemon prints its address once it listens.
  daemon_.emplace(std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                           "--address=" + address_, "--print-address=3"},
                  ServerProcess::Options{.environment = {}, .passedDescriptor = ends[1]});
  close(ends[1]);
  char byte = 0;
  const bool printed = read(ends[0], &byte, 1) == 1;
  close(ends[0]);
  if (!printed) throw std::runtime_error("the private bus did not start");
}

void PrivateBus::stop() {
  daemon_.reset();
  std::filesystem::remove(folder_ / "bus");
}

}  // namespace tovrin
