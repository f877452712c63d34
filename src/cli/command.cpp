#include "cli/command.h"

#include <fmt/core.h>

#include "cli/output.h"

namespace tovrin::cli {

CLI::App* addCommand(CLI::App& app, const char* name, const char* purpose, const char* example) {
  CLI::App* command = app.add_subcommand(name, purpose);
  command->group("Commands");
  command->footer(
      fmt::format("Example:\n  {}\n\nWith --container DIR another container is used than the usual one.", example));
  command->fallthrough();
  return command;
}

Outcome printLine(std::string_view text) {
  TOVRIN_CHECK(about("standard output", writeStandardOutput(std::string(text) + "\n")));
  return kExitDone;
}

}  // namespace tovrin::cli
