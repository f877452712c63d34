#include "cli/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace tovrin::cli {

TerminalSize terminalSize(int descriptor) {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
  return {size.ws_row, size.ws_col};
}

bool isCapableTerminal(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return isatty(descriptor) != 0 && (terminal == nullptr || std::string_view(terminal) != "dumb");
}

bool wantsColour(int descriptor) {
  const char* refused = std::getenv("NO_COLOR");
  return isCapableTerminal(descriptor) && (refused == nullptr || *refused == '\0');
}

}  // namespace tovrin::cli
