#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tovrin-worker/fault.h"
#include "tovrin-worker/loopback_worker.h"
#include "tovrin-worker/password_file.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongWords = 2;

struct Words {
  std::string root;
  std::string listen = "127.0.0.1:0";
  std::string passwordFile;
  std::string accounts = "12";
  unsigned notReadyPolls = 0;
  std::string log;
  std::vector<std::string> faults;
};

int fail(int status, std::string_view message) {
  fmt::print(stderr, "tovrin-worker: {}\n", message);
  return status;
}

std::optional<std::uint16_t> parseLoopbackPort(std::string_view listen) {
  constexpr std::string_view kHost = "127.0.0.1:";
  if (!listen.starts_with(kHost)) return std::nullopt;
  listen.remove_prefix(kHost.size());
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(listen.data(), listen.data() + listen.size(), port);
  if (error != std::errc() || end != listen.data() + listen.size()) return std::nullopt;
  return port;
}

int run(const Words& words) {
  const auto port = parseLoopbackPort(words.listen);
  if (!port) return fail(kWrongWords, fmt::format("\"{}\" is not 127.0.0.1:PORT", words.listen));
  const auto password = tovrin::worker::readPassword(words.passwordFile);
  if (!password) return fail(kFailed, password.error().localizedDescription());

  std::string accounts;
  for (unsigned poll = 0; poll < words.notReadyPolls; ++poll) accounts += "0,";
  tovrin::LoopbackWorker worker({.root = words.root,
                                 .password = *password,
                                 .port = *port,
                                 .accounts = accounts + words.accounts,
                                 .log = words.log});
  for (const std::string& line : words.faults) {
    if (const auto added = worker.addFault(line); !added)
      return fail(kWrongWords, added.error().localizedDescription());
  }

  // Blocked before the worker's threads start, so that none of them takes the signal.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  if (const auto started = worker.start(); !started) return fail(kFailed, started.error().localizedDescription());
  fmt::print("listening on {}\n", worker.address());
  std::fflush(stdout);
  int signal = 0;
  sigwait(&ends, &signal);
  worker.stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  Words words;
  CLI::App app("Serves objects from a folder as a storage worker does, on loopback, for demonstrations and tests.",
               "tovrin-worker");
  app.add_option("--root", words.root, "folder with one folder per bucket; made when missing")
      ->required()
      ->type_name("DIR");
  app.add_option("--listen", words.listen, "loopback address; port 0 lets the system choose")
      ->type_name("ADDRESS")
      ->capture_default_str();
  app.add_option("--password-file", words.passwordFile, "file with the password; else TOVRIN_WORKER_PASSWORD is used")
      ->type_name("FILE");
  app.add_option("--accounts", words.accounts, "ready accounts, poll by poll: 12 or 0,4,11,7/12 (ready/total)")
      ->type_name("STEPS")
      ->capture_default_str();
  app.add_option("--accounts-not-ready", words.notReadyPolls, "so many polls find no account first")
      ->type_name("POLLS");
  app.add_option("--log", words.log, "file that gets a line per request: method, path, status, bytes")
      ->type_name("FILE");
  app.add_option("--fault", words.faults, "something to go wrong, see below; may be repeated")
      ->type_name("LINE")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.footer(
      tovrin::worker::faultSummary() +
      "\nWhile it runs: POST /control/faults adds lines, GET shows them, DELETE clears them and lets go of what\n"
      "they hold; POST /control/accounts sets the accounts. SIGTERM or SIGINT ends it.");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongWords;
  }
  return run(words);
}
