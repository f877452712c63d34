#include "host/mounting/daemon.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <string>
#include <tuple>

#include "host/mounting/stop_signals.h"

namespace tovrin::host {

namespace {

constexpr std::string_view kReady = "ready";

/// The two ways in which the new process reports: that it is ready, or its error, of which the parts end in NUL.
std::string encoded(const NSError& error) {
  std::string report;
  for (const std::string& part : {error.domain(), std::to_string(error.code()), error.localizedDescription()}) {
    report += part;
    report += '\0';
  }
  return report;
}

std::optional<NSError> decodedError(std::string_view report) {
  std::array<std::string_view, 3> parts;
  for (std::string_view& part : parts) {
    const std::size_t end = report.find('\0');
    if (end == std::string_view::npos) return std::nullopt;
    part = report.substr(0, end);
    report.remove_prefix(end + 1);
  }
  std::int64_t code = 0;
  std::from_chars(parts[1].data(), parts[1].data() + parts[1].size(), code);
  return NSError(parts[0], code, std::string(parts[2]));
}

void report(int& descriptor, std::string_view text) {
  if (descriptor < 0) return;
  std::ignore = write(descriptor, text.data(), text.size());  // the reader may have given up
  close(descriptor);
  descriptor = -1;
}

void leaveStandardStreams() {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  close(nothing);
}

/// What belongs to the shell or whoever else started the command must not be held open for as long as the service runs.
int closeOtherDescriptors(int kept) {
  constexpr int kFirst = STDERR_FILENO + 1;
  if (kept != kFirst) {
    dup3(kept, kFirst, O_CLOEXEC);
    kept = kFirst;
  }
  close_range(kFirst + 1, ~0U, 0);
  return kept;
}

[[noreturn]] void runService(const Service& service, int channel) {
  int reporting = closeOtherDescriptors(channel);
  setsid();
  std::ignore = chdir("/");  // so that no other file system is kept in use
  const Result<void> outcome = service([&] {
    if (reporting < 0) return;
    leaveStandardStreams();
    report(reporting, kReady);
  });
  if (!outcome) report(reporting, encoded(outcome.error()));
  std::exit(outcome ? EXIT_SUCCESS : EXIT_FAILURE);
}

/// Reads to the end of the channel. The new process is told to end when interrupted meanwhile.
std::string readReport(int channel, int interruption, pid_t process, bool& wasInterrupted) {
  std::string text;
  std::array<pollfd, 2> sources{pollfd{channel, POLLIN, 0}, pollfd{interruption, POLLIN, 0}};
  while (true) {
    if (poll(sources.data(), sources.size(), -1) < 0) continue;
    if (sources[1].revents != 0) {
      sources[1].fd = -1;
      wasInterrupted = true;
      kill(process, SIGTERM);
    }
    if (sources[0].revents == 0) continue;
    std::array<char, 4096> bytes{};
    const ssize_t count = read(channel, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

NSError sudden(int status) {
  const std::string how = WIFSIGNALED(status) ? fmt::format("by signal {}", WTERMSIG(status))
                                              : fmt::format("with status {}", WEXITSTATUS(status));
  return {NSPOSIXErrorDomain, ECHILD, fmt::format("The process that should serve it ended {}.", how)};
}

}  // namespace

Result<void> startDaemon(const Service& service, int interruption) {
  std::array<int, 2> channel{};
  if (pipe2(channel.data(), O_CLOEXEC) != 0) return failure(NSError::posix(errno));
  const sigset_t mask = blockStopSignals();  // the service receives them when it is able to
  const pid_t process = fork();
  if (process == 0) runService(service, channel[1]);
  const int reason = errno;
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
  close(channel[1]);
  if (process < 0) {
    close(channel[0]);
    return failure(NSError::posix(reason));
  }
  bool wasInterrupted = false;
  const std::string text = readReport(channel[0], interruption, process, wasInterrupted);
  close(channel[0]);
  if (text == kReady && !wasInterrupted) return {};
  int status = 0;
  while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (wasInterrupted) return failure(NSError::cocoa(CocoaErrorCode::userCancelled));
  return failure(decodedError(text).value_or(sudden(status)));
}

}  // namespace tovrin::host
