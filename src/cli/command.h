#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "cli/error_output.h"
#include "cli/outcome.h"
#include "cli/session.h"

namespace tovrin::cli {

/// What the words of a call ask for.
struct Invocation {
  std::string container;
  bool json = false;
  std::function<Outcome(Session&)> run;

  ErrorFormat errorFormat() const { return json ? ErrorFormat::json : ErrorFormat::plain; }
};

/// Each adds a command to `app`. Its words, once parsed, set the members of `invocation`, which outlives `app`.
void addListCommand(CLI::App& app, Invocation& invocation);
void addCatCommand(CLI::App& app, Invocation& invocation);
void addFetchCommand(CLI::App& app, Invocation& invocation);
void addPutCommand(CLI::App& app, Invocation& invocation);
void addMountCommand(CLI::App& app, Invocation& invocation);
void addUnmountCommand(CLI::App& app, Invocation& invocation);
void addStatusCommand(CLI::App& app, Invocation& invocation);
void addEvictCommand(CLI::App& app, Invocation& invocation);
void addDoctorCommand(CLI::App& app, Invocation& invocation);
void addInspectCommand(CLI::App& app, Invocation& invocation);

/// A command with one line of purpose and one example. The options of `app` are understood behind its name, too.
CLI::App* addCommand(CLI::App& app, const char* name, const char* purpose, const char* example);

/// Prints a text and a line end as the command's data.
Outcome printLine(std::string_view text);

}  // namespace tovrin::cli
