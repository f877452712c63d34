#include "cli/progress_bar.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "cli/output.h"
#include "cli/shared_state.h"
#include "cli/terminal.h"

namespace tovrin::cli {

namespace {

constexpr std::size_t kBarColumns = 24;
constexpr std::string_view kEraseLine = "\r\x1b[K";

}  // namespace

std::string progressLine(double fraction, std::string_view detail, std::size_t columns, bool colour) {
  const double part = std::clamp(fraction, 0.0, 1.0);
  std::string line = fmt::format("{:3.0f}%", std::floor(part * 100));
  std::size_t used = line.size();
  if (columns >= used + kBarColumns + 3) {
    const auto filled = static_cast<std::size_t>(part * kBarColumns);
    const std::string bar = std::string(filled, '#') + std::string(kBarColumns - filled, '-');
    line += colour ? fmt::format(" [\x1b[32m{}\x1b[0m]", bar) : fmt::format(" [{}]", bar);
    used += kBarColumns + 3;
  }
  if (columns > used + 8) line += " " + fitted(detail, columns - used - 1);
  return line;
}

ProgressBar::ProgressBar(const Platform& platform)
    : platform_(platform), shown_(isCapableTerminal(STDERR_FILENO)), colour_(wantsColour(STDERR_FILENO)) {}

ProgressBar::~ProgressBar() {
  if (!drawn_.empty()) fmt::print(stderr, "{}", kEraseLine);
}

void ProgressBar::draw(const NSProgress& progress, const SharedItem& item) {
  if (!shown_) return;
  std::string detail;
  const auto state = loadMaterializationState(platform_);
  if (state && item && item->entry() && item->warpID() == state->warpID &&
      item->entry()->relativePath == state->relativePath) {
    detail = printable(state->detail);
  }
  const double fraction =
      static_cast<double>(progress.completedUnitCount()) / static_cast<double>(progress.totalUnitCount());
  draw(fraction, detail);
}

void ProgressBar::draw(double fraction, std::string_view detail) {
  if (!shown_) return;
  // The last column stays free: some terminals wrap as soon as it is written.
  std::string line = progressLine(fraction, detail, terminalSize(STDERR_FILENO).columns - 1, colour_);
  if (line == drawn_) return;
  fmt::print(stderr, "{}{}", kEraseLine, line);
  drawn_ = std::move(line);
}

}  // namespace tovrin::cli
