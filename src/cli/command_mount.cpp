#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/command.h"
#include "cli/interruption.h"
#include "cli/output.h"
#include "cli/shared_state.h"
#include "host/mounting/daemon.h"
#include "host/mounting/mount_options.h"
#include "host/mounting/mount_service.h"

namespace tovrin::cli {

namespace {

/// Options of -o that can be given as options of the command, too.
struct LongOption {
  const char* flag;
  const char* name;
  const char* value;
  const char* help;
};
constexpr LongOption kLongOptions[]{
    {"--cache-size", "cache_size", "SIZE", "Room for local copies (else 10 GiB)"},
    {"--cache-free", "cache_free", "SHARE", "What the cache leaves free: 10% or 20G"},
    {"--crawlers", "crawlers", "deny|allow", "What indexers may download (else deny)"},
    {"--max-fetches", "max_fetches", "N", "Downloads at once (else 8)"},
    {"--notify", "notify", "errors|none", "What the desktop is told (else errors)"},
};

struct Words {
  std::string mountpoint;
  std::vector<std::string> lists;  ///< of -o, each separated by commas
  std::vector<std::pair<const LongOption*, std::string>> options;
  std::vector<std::string> crawlers;
  bool foreground = false;
  bool debug = false;
  bool offline = false;
  bool sloppy = false;
  bool fake = false;
  int verbose = 0;
};

/// Notes options in a request, each under the name by which the user gave it.
class RequestMaker {
 public:
  explicit RequestMaker(bool ignoresUnknown) : ignoresUnknown_(ignoresUnknown) {
    const auto cache = makeDirectories()->providerTemporaryDirectory();
    cacheFolder_ = cache && *cache ? **cache : std::filesystem::path("/");
  }

  /// The first thing that is wrong ends the reading of the words.
  void apply(std::string_view option, std::string_view shownName = {}) {
    const auto applied = host::applyMountOption(option, cacheFolder_, request_);
    if (applied) return;
    const auto& [name, message] = applied.error();
    if (message.empty() && ignoresUnknown_) return;
    throw CLI::ValidationError(message.empty() ? fmt::format("there is no option “{}”", name)
                                               : fmt::format("{}: {}", shownName.empty() ? name : shownName, message));
  }
  host::MountRequest& request() { return request_; }

 private:
  const bool ignoresUnknown_;
  std::filesystem::path cacheFolder_;
  host::MountRequest request_ = host::usualMountRequest();
};

host::MountRequest requestOf(const Words& words, const std::string& container) {
  if (words.mountpoint.empty()) throw CLI::ValidationError("MOUNTPOINT is empty");
  RequestMaker maker(words.sloppy);
  if (!container.empty()) maker.request().container = container;
  for (const std::string& list : words.lists) {
    for (const std::string& option : host::splitMountOptions(list)) maker.apply(option);
  }
  for (const auto& [option, value] : words.options) {
    maker.apply(fmt::format("{}={}", option->name, value), option->flag);
  }
  for (const std::string& crawler : words.crawlers) maker.apply("crawler=" + crawler, "--crawler");
  if (words.debug) maker.apply("debug");
  if (words.offline) maker.apply("offline");
  maker.request().mountpoint = words.mountpoint;
  return std::move(maker.request());
}

host::log::Level levelOf(const Words& words, const host::MountRequest& request) {
  if (words.verbose >= 2 || host::isDebugging(request)) return host::log::Level::debug;
  return words.verbose == 1 ? host::log::Level::info : host::log::Level::notice;
}

Outcome mount(const Words& words, host::MountServiceSettings settings) {
  // A daemon leaves the folder from which these count.
  settings.request.mountpoint = std::filesystem::absolute(settings.request.mountpoint);
  if (settings.request.container) settings.request.container = std::filesystem::absolute(*settings.request.container);
  if (words.fake) return kExitDone;
  hintAtMissingContainer(*makeDirectories(settings.request.container));
  const auto say = [&](const std::string& sentence) {
    fmt::print(stderr, "tovrin: {}: {}\n", printable(words.mountpoint), printable(sentence));
  };
  if (!settings.isDaemon) {
    TOVRIN_CHECK(about(words.mountpoint, host::runMountService(settings, say, [] {})));
    return kExitDone;
  }
  const InterruptWatch interruption;
  const auto service = [&](const std::function<void()>& ready) { return host::runMountService(settings, say, ready); };
  TOVRIN_CHECK(about(words.mountpoint, host::startDaemon(service, interruption.descriptor())));
  return kExitDone;
}

}  // namespace

void addMountCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = addCommand(app, "mount", "Show the domain as a folder, with FUSE", "tovrin mount ~/Warps");
  const auto words = std::make_shared<Words>();
  command->add_option("MOUNTPOINT", words->mountpoint, "An empty folder; made when missing")
      ->required()
      ->option_text(" ");
  command->add_option("-o", words->lists, "Mount options, as mount(8) has them: ro,allow_other")
      ->allow_extra_args(false)
      ->option_text("OPTIONS");
  command->add_flag("-f,--foreground", words->foreground, "Stay in front, log to standard error");
  for (const LongOption& option : kLongOptions) {
    command
        ->add_option_function<std::string>(
            option.flag, [words, &option](const std::string& value) { words->options.emplace_back(&option, value); },
            option.help)
        ->option_text(option.value);
  }
  command->add_option("--crawler", words->crawlers, "One more program that crawls; again for more")
      ->allow_extra_args(false)
      ->option_text("NAME");
  command->add_flag("--offline", words->offline, "Never wait for the worker");
  command->add_flag("-v,--verbose", words->verbose, "Log more; -vv even more");
  command->add_flag("-d,--debug", words->debug, "Log all requests; stay in front");
  command->add_flag("--sloppy", words->sloppy, "Ignore unknown options behind -o");
  command->add_flag("--fake", words->fake, "Only check the words");
  command->add_flag_callback("-s", [] {}, "For compatibility; without effect");
  command->callback([&invocation, words] {
    host::MountServiceSettings settings;
    settings.request = requestOf(*words, invocation.container);
    settings.logLevel = levelOf(*words, settings.request);
    settings.isDaemon = !words->foreground && !host::isDebugging(settings.request);
    invocation.run = [words, settings](Session&) { return mount(*words, settings); };
  });
}

}  // namespace tovrin::cli
