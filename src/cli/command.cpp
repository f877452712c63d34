#include "cli/command.h"

#include "cli/output.h"

namespace tovrin::cli {

CLI::App* addCommand(CLI::App& app, const char* name, const char* purpose, const char* example) {
  CLI::App* command = app.add_subcommand(name, purpose);
  command->group("Commands");
  command->footer(std::string("Example:\n  ") + example);
  command->fallthrough();
  return command;
}

Outcome printLine(std::string_view text) {
  TOVRIN_CHECK(about("standard output", writeStandardOutput(std::string(text) + "\n")));
  return kExitDone;
}

}  // namespace tovrin::cli
