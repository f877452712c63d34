#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <utility>

#include "cli/command.h"
#include "cli/container_watch.h"
#include "cli/output.h"
#include "cli/progress_bar.h"
#include "cli/shared_state.h"
#include "cli/status_report.h"
#include "cli/terminal.h"
#include "cli/transfer_rates.h"
#include "foundation/readable_size.h"
#include "shared/warp_directory.h"

namespace tovrin::cli {

namespace {

constexpr std::chrono::milliseconds kRedrawInterval{200};
constexpr std::chrono::milliseconds kReportInterval{500};

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
  StatusPrinter(const Platform& platform, bool json)
      : platform_(platform), json_(json), redraws_(!json && isCapableTerminal(STDOUT_FILENO)) {}

  /// Prints nothing when nothing changed.
  Result<void> print(const StatusReport& report) {
    if (report.mount) rates_.observe(*report.mount, platform_.clock.systemUptime());
    std::string text = json_ ? statusJSON(report) + '\n' : statusText(report, openingText());
    if (redraws_) text = fittedToTerminal(text);
    if (text == printed_) return {};
    const std::string previous = std::exchange(printed_, std::move(text));
    if (json_ || previous.empty()) return writeStandardOutput(printed_);
    if (!redraws_) return writeStandardOutput("\n" + printed_);
    return writeStandardOutput(fmt::format("\x1b[{}A\x1b[J{}", countLines(previous), printed_));
  }

  /// How often it is worth to ask a mount, which does not say when something changes.
  std::chrono::milliseconds interval() const { return redraws_ ? kRedrawInterval : kReportInterval; }

 private:
  OpeningText openingText() const {
    if (!redraws_) return cli::openingText;
    return [this](const host::MountStatus::Opening& opening) { return barOf(opening); };
  }

  std::string barOf(const host::MountStatus::Opening& opening) const {
    // Behind the sizes, where a long name loses its end and nothing else.
    const std::string name = printable(opening.filename);
    const std::string size = readableSize(opening.bytes);
    if (opening.isQueued) return bar(0, fmt::format("waits for its turn, {}  {}", size, name));
    const double here = opening.fraction * static_cast<double>(opening.bytes);
    const auto rate = rates_.rateOf(opening.identifier);
    const std::string perSecond = rate ? fmt::format(", {}/s", readableSize(static_cast<std::int64_t>(*rate))) : "";
    return bar(opening.fraction,
               fmt::format("{} of {}{}  {}", readableSize(static_cast<std::int64_t>(here)), size, perSecond, name));
  }

  static std::string bar(double fraction, std::string_view detail) {
    constexpr std::size_t kMargins = 3;  // the indentation, and the last column
    return progressLine(fraction, detail, std::max(terminalSize(STDOUT_FILENO).columns, kMargins) - kMargins, false);
  }

  Platform platform_;
  bool json_;
  bool redraws_;
  TransferRates rates_;
  std::string printed_;
};

Outcome follow(const Platform& platform, bool json) {
  const InterruptWatch interruption;
  TOVRIN_TRY(const WarpDirectory warp, about({}, locateWarpDirectory(platform.directories)));
  ContainerWatch watch(warp.path());
  StatusSources sources(platform);
  StatusPrinter printer(platform, json);
  do {
    TOVRIN_CHECK(about("standard output", printer.print(sources.report())));
  } while (watch.waitForChange(interruption, printer.interval()));
  if (interruption.requested()) return kExitInterrupted;
  // The reader left: end as a write would have ended.
  std::raise(SIGPIPE);
  return std::unexpected(Failure{"standard output", NSError::posix(EPIPE), {}});
}

Outcome status(const Platform& platform, bool json) {
  TOVRIN_CHECK(about({}, locateWarpDirectory(platform.directories)));
  const StatusReport report = StatusSources(platform).report();
  const std::string text = json ? statusJSON(report) + '\n' : statusText(report, openingText);
  TOVRIN_CHECK(about("standard output", writeStandardOutput(text)));
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
      if (!invocation.json) hintAtMissingContainer(session.platform().directories);
      return *follows ? follow(session.platform(), invocation.json) : status(session.platform(), invocation.json);
    };
  });
}

}  // namespace tovrin::cli
