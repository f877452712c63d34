#include "platform/linux/session_bus.h"

namespace tovrin {

Bus openSessionBus() {
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
