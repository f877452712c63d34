#pragma once

#include <fmt/core.h>

#include <string_view>
#include <utility>

/// What the host has to say about itself, for whoever looks after the machine. Safe to use from any thread; before
/// `setUp` and in tests it writes to standard error. The rest of the system logs nothing: it answers with errors, and
/// the host logs what it was answered. Never give it the worker's password.
namespace tovrin::host::log {

/// Numbered as in syslog(3).
enum class Level { error = 3, warning = 4, notice = 5, info = 6, debug = 7 };

enum class Destination {
  standardError,  ///< each line with its `<N>` priority when that is the journal, else plain
  system,         ///< the journal where there is one, else syslog
};

/// Once, before other threads start. Messages above `mostVerbose` are dropped.
void setUp(Destination destination, Level mostVerbose);

bool isEnabled(Level level);

/// One message, on one line whatever it holds. Never fails: where nobody takes messages they are lost.
void write(Level level, std::string_view message);

template <class... Values>
void write(Level level, fmt::format_string<Values...> format, Values&&... values) {
  if (isEnabled(level)) write(level, std::string_view(fmt::format(format, std::forward<Values>(values)...)));
}

/// The user has lost something or cannot get something.
template <class... Values>
void error(fmt::format_string<Values...> format, Values&&... values) {
  write(Level::error, format, std::forward<Values>(values)...);
}
/// It goes on, but somebody should look.
template <class... Values>
void warning(fmt::format_string<Values...> format, Values&&... values) {
  write(Level::warning, format, std::forward<Values>(values)...);
}
/// Normal and rare: mounted, unmounted, an edit handed over. The level that is shown unless asked otherwise.
template <class... Values>
void notice(fmt::format_string<Values...> format, Values&&... values) {
  write(Level::notice, format, std::forward<Values>(values)...);
}
/// With -v: every download and eviction.
template <class... Values>
void info(fmt::format_string<Values...> format, Values&&... values) {
  write(Level::info, format, std::forward<Values>(values)...);
}
/// With -vv.
template <class... Values>
void debug(fmt::format_string<Values...> format, Values&&... values) {
  write(Level::debug, format, std::forward<Values>(values)...);
}

}  // namespace tovrin::host::log
