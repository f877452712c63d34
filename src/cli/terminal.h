#pragma once

#include <cstddef>

namespace tovrin::cli {

struct TerminalSize {
  std::size_t rows = 24;
  std::size_t columns = 80;
};
/// The usual size where the terminal behind the descriptor does not tell.
TerminalSize terminalSize(int descriptor);

/// A terminal that can draw over what it shows.
bool isCapableTerminal(int descriptor);

/// Such a terminal, and the user did not set NO_COLOR.
bool wantsColour(int descriptor);

}  // namespace tovrin::cli
