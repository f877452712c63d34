#pragma once

#include <systemd/sd-bus.h>

#include <memory>

/// The user's session bus, as D-Bus clients of this process share it: no client ever starts a bus.
namespace tovrin {

struct BusDeleter {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
/// To be used by one thread at a time.
using Bus = std::unique_ptr<sd_bus, BusDeleter>;

/// Null when no session bus runs. Says hello only when the bus is processed.
Bus openSessionBus();

/// Reads what the bus has told us, which shows whether it still is there.
bool isAlive(sd_bus* bus);

}  // namespace tovrin
