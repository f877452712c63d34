#include "host/crawlers.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/path.h"

namespace tovrin::host {

namespace {

constexpr auto kBuiltIn = std::to_array<Crawlers::Known>({
    {"tracker-miner-fs*"},
    {"tracker-extract*"},
    {"tracker-writeback*"},
    {"localsearch-*"},
    {"baloo_file"},
    {"baloo_file_extractor"},
    {"recollindex"},
    {"updatedb*"},
    {"tumblerd"},
    {"*thumbnailer"},
    {"*-thumbnail-font"},
    {"thumbnailer-service"},
    {"stl-thumb"},
    {"kioworker", "/thumbnail.so"},
    {"kioslave*", "/thumbnail.so"},
});

constexpr auto kInterpreters =
    std::to_array<std::string_view>({"sh", "dash", "bash", "python*", "perl*", "ruby*", "gjs*"});

/// An indexer starts a script, and that a converter.
constexpr int kGenerations = 4;

bool matches(std::string_view pattern, const std::string& name) {
  return fnmatch(std::string(pattern).c_str(), name.c_str(), 0) == 0;
}

struct Process {
  std::string program;
  std::vector<std::string> arguments;
};

std::string readProcessFile(pid_t process, std::string_view name) {
  std::ifstream file(fmt::format("/proc/{}/{}", process, name), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> commandLine(pid_t process) {
  const std::string text = readProcessFile(process, "cmdline");
  std::vector<std::string> words;
  for (std::size_t start = 0; start < text.size();) {
    words.emplace_back(text.c_str() + start);
    start += words.back().size() + 1;
  }
  return words;
}

/// The name of the file that runs, whatever the process calls itself; that too for a program of another user.
std::string executableName(pid_t process, const std::vector<std::string>& words) {
  std::error_code error;
  std::string file = std::filesystem::read_symlink(fmt::format("/proc/{}/exe", process), error).native();
  if (error) file = words.empty() ? std::string() : words.front();
  constexpr std::string_view kReplaced = " (deleted)";  // by an upgrade while it runs
  if (file.ends_with(kReplaced)) file.resize(file.size() - kReplaced.size());
  return std::string(lastPathComponent(file));
}

Process look(pid_t process) {
  Process seen;
  if (process <= 0) return seen;
  std::vector<std::string> words = commandLine(process);
  seen.program = executableName(process, words);
  if (!words.empty()) words.erase(words.begin());
  seen.arguments = std::move(words);
  const bool isInterpreter =
      std::ranges::any_of(kInterpreters, [&](std::string_view pattern) { return matches(pattern, seen.program); });
  if (!isInterpreter) return seen;
  const auto isOption = [](const std::string& word) { return word.starts_with('-'); };
  const auto script = std::ranges::find_if_not(seen.arguments, isOption);
  // Behind "-c" stands the program itself, and no name.
  const bool isNamed = script != seen.arguments.end() && std::find(seen.arguments.begin(), script, "-c") == script &&
                       script->find('/') != std::string::npos;
  if (isNamed) seen.program = lastPathComponent(*script);
  return seen;
}

pid_t parentOf(pid_t process) {
  const std::string status = readProcessFile(process, "status");
  constexpr std::string_view kKey = "\nPPid:\t";
  const std::size_t key = status.find(kKey);
  pid_t parent = 0;
  if (key != std::string::npos)
    std::from_chars(status.data() + key + kKey.size(), status.data() + status.size(), parent);
  return parent;
}

bool isBuiltIn(const Process& process) {
  return std::ranges::any_of(kBuiltIn, [&](const Crawlers::Known& known) {
    if (!matches(known.program, process.program)) return false;
    return known.argument.empty() || std::ranges::any_of(process.arguments, [&](const std::string& argument) {
             return argument.ends_with(known.argument);
           });
  });
}

}  // namespace

std::span<const Crawlers::Known> Crawlers::builtIn() { return kBuiltIn; }

bool Crawlers::isCrawler(pid_t process, int openFlags) const {
  if ((openFlags & O_NOATIME) != 0) return true;
  const Process opener = look(process);
  if (std::ranges::any_of(more_, [&](const std::string& pattern) { return matches(pattern, opener.program); }))
    return true;
  if (isBuiltIn(opener)) return true;
  // Of the built-in ones only: a program that the user names may be one that starts others for the user.
  pid_t ancestor = process;
  for (int generation = 0; generation < kGenerations && ancestor > 1; ++generation) {
    ancestor = parentOf(ancestor);
    if (isBuiltIn(look(ancestor))) return true;
  }
  return false;
}

std::string programName(pid_t process) { return look(process).program; }

}  // namespace tovrin::host
