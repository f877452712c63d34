#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <utility>

#include "cli/command.h"
#include "cli/container_watch.h"
#include "cli/output.h"
#include "cli/status_report.h"
#include "cli/terminal.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

namespace {

std::size_t countLines(std::string_view text) { return static_cast<std::size_t>(std::ranges::count(text, '\n')); }

/// As much of the text as the terminal can show at once: what scrolled away could not be drawn over.
std::string fittedToTerminal(std::string_view text) {
  const TerminalSize size = terminalSize(STDOUT_FILENO);
  std::string fit;
  for (std::size_t row = 1; !text.empty() && row < size.rows; ++row) {
    const std::string_view line = text.substr(0, text.find('\n'));
    fit += fitted(line, size.columns - 1) + '\n';
    text.remove_prefix(line.size() + 1);
  }
  return fit;
}

/// The report again and again: over the last one on a terminal, else behind it, one object per line in JSON.
class StatusPrinter {
 public:
  explicit StatusPrinter(bool json) : json_(json), redraws_(!json && isCapableTerminal(STDOUT_FILENO)) {}

  /// Prints nothing when nothing changed.
  Result<void> print(const StatusReport& report) {
    std::string text = json_ ? statusJSON(report) + '\n' : statusText(report);
    if (redraws_) text = fittedToTerminal(text);
    if (text == printed_) return {};
    const std::string previous = std::exchange(printed_, std::move(text));
    if (json_ || previous.empty()) return writeStandardOutput(printed_);
    if (!redraws_) return writeStandardOutput("\n" + printed_);
    return writeStandardOutput(fmt::format("\x1b[{}A\x1b[J{}", countLines(previous), printed_));
  }

 private:
  bool json_;
  bool redraws_;
  std::string printed_;
};

/// What a report is made from; kept from one to the next, so that what did not change is not decoded again.
class Sources {
 public:
  explicit Sources(const Platform& platform) : platform_(platform), store_(platform), journal_(platform) {}
  StatusReport report() { return makeStatusReport(platform_, store_, journal_); }

 private:
  Platform platform_;
  ManifestStore store_;
  CachedItemsJournal journal_;
};

Outcome follow(const Platform& platform, bool json) {
  const InterruptWatch interruption;
  TOVRIN_TRY(const WarpDirectory warp, about({}, locateWarpDirectory(platform.directories)));
  ContainerWatch watch(warp.path());
  Sources sources(platform);
  StatusPrinter printer(json);
  do {
    TOVRIN_CHECK(about("standard output", printer.print(sources.report())));
  } while (watch.waitForChange(interruption));
  if (interruption.requested()) return kExitInterrupted;
  // The reader left: end as a write would have ended.
  std::raise(SIGPIPE);
  return std::unexpected(Failure{"standard output", NSError::posix(EPIPE), {}});
}

Outcome status(const Platform& platform, bool json) {
  TOVRIN_CHECK(about({}, locateWarpDirectory(platform.directories)));
  const StatusReport report = Sources(platform).report();
  TOVRIN_CHECK(about("standard output", writeStandardOutput(json ? statusJSON(report) + '\n' : statusText(report))));
  return kExitDone;
}

}  // namespace

void addStatusCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command =
      addCommand(app, "status", "Show what is and was opened, and what waits", "tovrin status --follow");
  const auto follows = std::make_shared<bool>(false);
  command->add_flag("--follow", *follows, "Go on until interrupted, showing every change");
  command->add_flag("--json", invocation.json, "Print JSON, with --follow one object a line");
  command->callback([&invocation, follows] {
    invocation.run = [&invocation, follows](Session& session) {
      return *follows ? follow(session.platform(), invocation.json) : status(session.platform(), invocation.json);
    };
  });
}

}  // namespace tovrin::cli
