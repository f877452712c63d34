#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>

#include "host/fetches.h"
#include "host/fuse/library.h"

namespace tovrin::host {
class DelayedCalls;
class MountedDomain;
}  // namespace tovrin::host

namespace tovrin::host::fuse {

/// Requests that wait for a download, and may be interrupted while they do. An interrupt is not yet a wish to give up:
/// programs get signals for many reasons, so an opener keeps waiting for one second more, unless it is being killed.
/// Thread-safe.
class PendingOpens {
 public:
  /// Knows the request by the number that this returns until `end`.
  std::uintptr_t begin(fuse_req_t request);
  /// What the request waits for; to be given after `begin`, when it is known.
  void waitsFor(std::uintptr_t number, const Fetches::Ticket& ticket);
  void end(std::uintptr_t number);

 private:
  struct Pending {
    pid_t process = 0;
    std::optional<Fetches::Ticket> ticket;
  };
  static void onInterrupt(fuse_req_t request, void* number);
  void interrupted(std::uintptr_t number, MountedDomain& domain);
  void giveUp(std::uintptr_t number, MountedDomain& domain);

  std::mutex lock_;
  std::uintptr_t last_ = 0;
  std::unordered_map<std::uintptr_t, Pending> pending_;
};

}  // namespace tovrin::host::fuse
