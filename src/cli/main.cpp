#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <clocale>
#include <cstdio>
#include <exception>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/interruption.h"
#include "cli/mount_helper.h"
#include "cli/output.h"
#include "cli/shared_state.h"
#include "host/fuse/library.h"

namespace tovrin::cli {

namespace {

const CLI::App& deepestParsed(const CLI::App& app) {
  const auto parsed = app.get_subcommands();
  return parsed.empty() ? app : deepestParsed(*parsed.front());
}

/// The names of the command and of those above it.
std::string callName(const CLI::App& app) {
  return app.get_parent() == nullptr ? app.get_name() : callName(*app.get_parent()) + " " + app.get_name();
}

std::string usageLine(const CLI::App& command) {
  const std::string help = command.help(command.get_parent() == nullptr ? "" : callName(*command.get_parent()));
  const std::size_t start = help.find("Usage:");
  return help.substr(start, help.find('\n', start) - start);
}

std::string complaint(const CLI::App& app, const CLI::App& command, const CLI::ParseError& error) {
  if (command.get_subcommands({}).empty()) return printable(error.what());
  const std::vector<std::string> unknown = app.remaining(true);
  if (unknown.empty()) {
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    return isMissing ? fmt::format("“{}” needs a command", callName(command)) : printable(error.what());
  }
  const std::string word = printable(unknown.front());
  return word.starts_with('-') ? fmt::format("there is no option “{}”", word)
                               : fmt::format("there is no command “{} {}”", callName(command), word);
}

int reportWrongWords(const CLI::App& app, const CLI::ParseError& error, bool noWords) {
  if (noWords) {
    fmt::print(stderr, "{}", app.help());
    return kExitWrongWords;
  }
  const CLI::App& command = deepestParsed(app);
  fmt::print(stderr, "tovrin: {}\n{}\nMore: {} --help\n", complaint(app, command, error), usageLine(command),
             callName(command));
  return kExitWrongWords;
}

Outcome outcomeOf(const Invocation& invocation) {
  try {
    Session session(invocation.container);
    Outcome outcome = invocation.run(session);
    if (!outcome) outcome.error().cause = sharedFileBehind(outcome.error().error, session.platform());
    return outcome;
  } catch (const std::exception& exception) {  // no memory, or a working directory that is gone
    return std::unexpected(Failure{
        {}, {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileReadUnknown), exception.what()}, {}});
  }
}

int run(const Invocation& invocation) {
  const Outcome outcome = outcomeOf(invocation);
  if (outcome) return *outcome;
  reportFailure(outcome.error(), invocation.errorFormat());
  return wasInterrupted() ? kExitInterrupted : kExitFailed;
}

/// The usual help, whose usage line also shows the options that are needed.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override {
    std::string usage = CLI::Formatter::make_usage(app, std::move(name));
    for (const CLI::Option* option : app->get_options(isNeeded)) {
      const std::string needed = fmt::format(" -{} {}", option->get_snames().front(), option->get_option_text());
      usage.insert(usage.find_last_not_of('\n') + 1, needed);
    }
    return usage;
  }

 private:
  static bool isNeeded(const CLI::Option* option) { return option->nonpositional() && option->get_required(); }
};

/// "help" is understood as "--help", also of a command.
std::vector<std::string> wordsOf(int argc, char** argv) {
  std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
  if (argc > 0 && isMountHelper(argv[0])) return wordsOfMountHelper(words);
  if (words.empty() || words.front() != "help") return words;
  std::erase(words, "help");
  words.emplace_back("--help");
  return words;
}

/// A word stands where a command is looked for: it must not get the help of what is above it.
bool namesUnknownCommand(const CLI::App& app) {
  return !deepestParsed(app).get_subcommands({}).empty() && !app.remaining(true).empty();
}

int printHelp(const CLI::App& app, const CLI::Success& asked) {
  std::ostringstream text;
  app.exit(asked, text, text);
  const bool isVersion = dynamic_cast<const CLI::CallForVersion*>(&asked) != nullptr;
  if (isVersion) text << "libfuse " << fuse_pkgversion() << '\n';
  const auto printed = about("standard output", writeStandardOutput(text.str()));
  if (printed && isVersion) fuse_lowlevel_version();  // prints the version of the protocol
  if (printed) return kExitDone;
  reportFailure(printed.error(), ErrorFormat::plain);
  return kExitFailed;
}

void describe(CLI::App& app, Invocation& invocation) {
  app.name("tovrin");
  app.formatter(std::make_shared<HelpFormatter>());
  app.get_formatter()->column_width(26);
  app.get_formatter()->label("SUBCOMMAND", "COMMAND");
  app.get_formatter()->label("Positionals", "Arguments");
  app.require_subcommand(1);
  app.set_version_flag("--version", "tovrin " TOVRIN_VERSION);
  app.add_option("--container", invocation.container, "The container shared with the main application")
      ->envname("TOVRIN_CONTAINER")
      ->type_name("DIR")
      ->check([](const std::string& directory) { return directory.empty() ? "It names no folder." : ""; })
      ->option_text("DIR");
  app.footer(
      "Example:\n  tovrin ls '/Warped Files'\n\nThe container can be named by the variable TOVRIN_CONTAINER, too.");
  addListCommand(app, invocation);
  addCatCommand(app, invocation);
  addFetchCommand(app, invocation);
  addPutCommand(app, invocation);
  addMountCommand(app, invocation);
  addUnmountCommand(app, invocation);
  addStatusCommand(app, invocation);
  addEvictCommand(app, invocation);
  addDoctorCommand(app, invocation);
  addInspectCommand(app, invocation);
}

}  // namespace

}  // namespace tovrin::cli

int main(int argc, char** argv) {
  using namespace tovrin::cli;
  std::setlocale(LC_CTYPE, "C.UTF-8");
  endWhenInterrupted();
  CLI::App app("Browses and opens the files of your Warps.");
  Invocation invocation;
  describe(app, invocation);
  try {
    std::vector<std::string> words = wordsOf(argc, argv);
    std::ranges::reverse(words);  // as the library takes them
    app.parse(std::move(words));
  } catch (const CLI::Success& asked) {
    return namesUnknownCommand(app) ? reportWrongWords(app, asked, false) : printHelp(app, asked);
  } catch (const CLI::ParseError& error) {
    return reportWrongWords(app, error, argc < 2);
  }
  return run(invocation);
}
