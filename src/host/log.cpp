#include "host/log.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <tuple>

#include "foundation/utf8.h"

namespace tovrin::host::log {

namespace {

enum class Writer { plain, withPriority, journal, syslog };

std::atomic<Writer> writer{Writer::plain};
std::atomic<Level> mostVerboseLevel{Level::notice};

/// JOURNAL_STREAM names the device and inode of what systemd made standard error; whoever redirects it elsewhere
/// inherits the variable all the same.
bool isJournal(int descriptor) {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status{};
  if (stream == nullptr || fstat(descriptor, &status) != 0) return false;
  return fmt::format("{}:{}", status.st_dev, status.st_ino) == stream;
}

Writer systemWriter() {
  // Without the journal its function drops the message and reports success.
  return access("/run/systemd/journal/socket", W_OK) == 0 ? Writer::journal : Writer::syslog;
}

void writeToStandardError(const std::string& line) {
  // One call, so that the lines of several threads do not mix. There is nobody to tell when it fails.
  std::ignore = ::write(STDERR_FILENO, line.data(), line.size());
}

void sendToJournal(Level level, std::string_view message) {
  std::array<std::string, 3> fields{fmt::format("MESSAGE={}", message),
                                    fmt::format("PRIORITY={}", static_cast<int>(level)), "SYSLOG_IDENTIFIER=tovrin"};
  std::array<iovec, 3> parts{};
  for (std::size_t i = 0; i < fields.size(); ++i) parts[i] = {fields[i].data(), fields[i].size()};
  sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
}

}  // namespace

void setUp(Destination destination, Level mostVerbose) {
  mostVerboseLevel = mostVerbose;
  if (destination == Destination::standardError) {
    writer = isJournal(STDERR_FILENO) ? Writer::withPriority : Writer::plain;
  } else {
    writer = systemWriter();
    openlog("tovrin", LOG_PID, LOG_USER);
  }
}

bool isEnabled(Level level) { return level <= mostVerboseLevel.load(); }

void write(Level level, std::string_view message) {
  if (!isEnabled(level)) return;
  const std::string line = printable(message);
  switch (writer.load()) {
    case Writer::plain:
      return writeToStandardError(fmt::format("tovrin: {}\n", line));
    case Writer::withPriority:
      return writeToStandardError(fmt::format("<{}>{}\n", static_cast<int>(level), line));
    case Writer::journal:
      return sendToJournal(level, line);
    case Writer::syslog:
      return ::syslog(static_cast<int>(level), "%s", line.c_str());
  }
}

}  // namespace tovrin::host::log
