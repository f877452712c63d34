#include "cli/interruption.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <tuple>

#include "cli/outcome.h"

namespace tovrin::cli {

namespace {

std::atomic<int> watchDescriptor{-1};
std::atomic<bool> interrupted{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

extern "C" void onInterrupt(int) {
  const int descriptor = watchDescriptor.load();
  if (descriptor < 0 || interrupted.exchange(true)) _exit(kExitInterrupted);
  const int savedErrno = errno;
  const std::uint64_t one = 1;
  std::ignore = write(descriptor, &one, sizeof one);
  errno = savedErrno;
}

}  // namespace

void endWhenInterrupted() {
  struct sigaction action{};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction previous{};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // ignored: as nohup wants it
  }
}

bool wasInterrupted() { return interrupted.load(); }

InterruptWatch::InterruptWatch() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  watchDescriptor.store(descriptor_);
}

InterruptWatch::~InterruptWatch() {
  watchDescriptor.store(-1);
  close(descriptor_);
}

}  // namespace tovrin::cli
