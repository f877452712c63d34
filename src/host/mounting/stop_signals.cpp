#include "host/mounting/stop_signals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <tuple>

namespace tovrin::host {

namespace {

/// The kernel delivers an ignored signal when it is blocked: those of nohup and of a shell's background jobs are left
/// out.
sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    struct sigaction action{};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

sigset_t blockStopSignals() {
  const sigset_t set = stopSignals();
  sigset_t previous;
  pthread_sigmask(SIG_BLOCK, &set, &previous);
  return previous;
}

StopSignals::StopSignals(std::function<void()> insisted)
    : insisted_(std::move(insisted)), previousMask_(blockStopSignals()), end_(eventfd(0, EFD_CLOEXEC)) {
  const sigset_t set = stopSignals();
  signals_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  thread_ = std::jthread([this](const std::stop_token& end) { listen(end); });
}

StopSignals::~StopSignals() {
  thread_.request_stop();
  eventfd_write(end_, 1);
  thread_.join();
  close(signals_);
  close(end_);
  pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

void StopSignals::listen(const std::stop_token& end) {
  std::array<pollfd, 2> sources{pollfd{signals_, POLLIN, 0}, pollfd{end_, POLLIN, 0}};
  while (!end.stop_requested()) {
    poll(sources.data(), sources.size(), -1);
    signalfd_siginfo received{};
    if (read(signals_, &received, sizeof received) != sizeof received) continue;
    if (!stop_.request_stop()) insisted_();
  }
}

}  // namespace tovrin::host
