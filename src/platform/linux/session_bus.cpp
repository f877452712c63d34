#include "platform/linux/session_bus.h"

#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace tovrin {

namespace {

/// Without an address of its own the bus listens in the user's runtime folder. A look there costs much less than a
/// connection that fails.
bool mayBeThere() {
  if (secure_getenv("DBUS_SESSION_BUS_ADDRESS") != nullptr) return true;
  const char* folder = secure_getenv("XDG_RUNTIME_DIR");
  return folder != nullptr && access((std::string(folder) + "/bus").c_str(), F_OK) == 0;
}

}  // namespace

Bus openSessionBus() {
  if (!mayBeThere()) return nullptr;
  sd_bus* bus = nullptr;
  return Bus(sd_bus_open_user(&bus) < 0 ? nullptr : bus);
}

bool isAlive(sd_bus* bus) {
  int progress = 0;
  do {
    progress = sd_bus_process(bus, nullptr);
  } while (progress > 0);
  return progress == 0 && sd_bus_is_open(bus) > 0;
}

}  // namespace tovrin
