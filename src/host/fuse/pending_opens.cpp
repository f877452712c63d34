#include "host/fuse/pending_opens.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "host/fuse/session.h"

namespace tovrin::host::fuse {

namespace {

constexpr std::chrono::seconds kGrace{1};
/// Between knowing a request and knowing what it waits for lie microseconds.
constexpr std::chrono::milliseconds kSoon{10};

/// Whether a thread has ended or is about to, whatever it waits for.
bool isBeingKilled(pid_t thread) {
  if (thread == 0) return false;  // of another process namespace
  std::ifstream status("/proc/" + std::to_string(thread) + "/status");
  if (!status) return true;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("State:\tZ") || line.starts_with("State:\tX")) return true;
    if (!line.starts_with("SigPnd:")) continue;
    const unsigned long long signals = std::strtoull(line.c_str() + sizeof("SigPnd:"), nullptr, 16);
    return (signals >> (SIGKILL - 1) & 1U) != 0;
  }
  return false;
}

}  // namespace

std::uintptr_t PendingOpens::begin(fuse_req_t request) {
  std::uintptr_t number = 0;
  {
    const std::scoped_lock hold(lock_);
    number = ++last_;
    pending_[number].process = fuse_req_ctx(request)->pid;
  }
  // A number and no pointer: libfuse may still call with it when the request has been answered.
  fuse_req_interrupt_func(request, onInterrupt, reinterpret_cast<void*>(number));
  return number;
}

void PendingOpens::waitsFor(std::uintptr_t number, const Fetches::Ticket& ticket) {
  const std::scoped_lock hold(lock_);
  const auto known = pending_.find(number);
  if (known != pending_.end()) known->second.ticket = ticket;
}

void PendingOpens::end(std::uintptr_t number) {
  const std::scoped_lock hold(lock_);
  pending_.erase(number);
}

/// Called with locks of libfuse held, in which no request can be answered.
void PendingOpens::onInterrupt(fuse_req_t request, void* number) {
  Session& session = sessionOf(request);
  session.domain().later().after(std::chrono::seconds(0), [&session, number] {
    session.pendingOpens().interrupted(reinterpret_cast<std::uintptr_t>(number), session.domain());
  });
}

void PendingOpens::interrupted(std::uintptr_t number, MountedDomain& domain) {
  pid_t process = 0;
  {
    const std::scoped_lock hold(lock_);
    const auto known = pending_.find(number);
    if (known == pending_.end()) return;
    process = known->second.process;
  }
  if (isBeingKilled(process)) return giveUp(number, domain);
  domain.later().after(kGrace, [this, number, &domain] { giveUp(number, domain); });
}

void PendingOpens::giveUp(std::uintptr_t number, MountedDomain& domain) {
  std::optional<Fetches::Ticket> ticket;
  {
    const std::scoped_lock hold(lock_);
    const auto known = pending_.find(number);
    if (known == pending_.end()) return;
    ticket = known->second.ticket;
  }
  if (ticket) return domain.leave(*ticket, NSError::cocoa(CocoaErrorCode::userCancelled));
  domain.later().after(kSoon, [this, number, &domain] { giveUp(number, domain); });
}

}  // namespace tovrin::host::fuse
