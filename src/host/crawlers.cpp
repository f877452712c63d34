#include "host/crawlers.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/path.h"
#include "platform/posix/file_descriptor.h"

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

/// Programs that open files at the same time.
constexpr std::size_t kMostRemembered = 64;

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

/// Of /proc/N/stat what stays: the name, the parent, and when the process began.
std::string lastingStatus(std::string_view status) {
  constexpr std::size_t kParent = 4;
  constexpr std::size_t kBeginning = 22;
  const std::size_t nameEnd = status.rfind(')');
  if (nameEnd == std::string_view::npos) return {};
  std::string lasting(status.substr(0, nameEnd + 1));
  std::size_t field = 2;
  for (std::size_t at = nameEnd + 1; at < status.size() && field < kBeginning;) {
    const std::size_t begin = at + 1;
    at = std::min(status.find(' ', begin), status.size());
    ++field;
    if (field == kParent || field == kBeginning) lasting.append(" ").append(status.substr(begin, at - begin));
  }
  return lasting;
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

Crawlers::Opener Crawlers::lookAt(pid_t process) const {
  const Process opener = look(process);
  const auto isOpener = [&](const std::string& pattern) { return matches(pattern, opener.program); };
  if (std::ranges::any_of(more_, isOpener) || isBuiltIn(opener)) return {opener.program, true};
  // Of the built-in ones only: a program that the user names may be one that starts others for the user.
  pid_t ancestor = process;
  for (int generation = 0; generation < kGenerations && ancestor > 1; ++generation) {
    ancestor = parentOf(ancestor);
    if (isBuiltIn(look(ancestor))) return {opener.program, true};
  }
  return {opener.program, false};
}

std::optional<Crawlers::Mark> Crawlers::markOf(pid_t process) {
  const FileDescriptor file = FileDescriptor::open(fmt::format("/proc/{}/stat", process), O_RDONLY);
  std::array<char, 1024> text{};
  const ssize_t length = file.isOpen() ? ::read(file.get(), text.data(), text.size()) : -1;
  std::array<char, 4096> link{};
  const ssize_t linkLength = ::readlink(fmt::format("/proc/{}/exe", process).c_str(), link.data(), link.size());
  if (length <= 0 || linkLength <= 0) return std::nullopt;
  return Mark{lastingStatus({text.data(), static_cast<std::size_t>(length)}),
              std::string(link.data(), static_cast<std::size_t>(linkLength))};
}

Crawlers::Opener Crawlers::opener(pid_t process, int openFlags) {
  const std::optional<Mark> mark = process > 0 ? markOf(process) : std::nullopt;
  Opener seen;
  bool isKnown = false;
  if (mark) {
    const std::scoped_lock hold(lock_);
    const auto known = remembered_.find(process);
    isKnown = known != remembered_.end() && known->second.mark == *mark;
    if (isKnown) seen = known->second.opener;
  }
  if (!isKnown) {
    seen = lookAt(process);
    if (mark) {
      const std::scoped_lock hold(lock_);
      if (remembered_.size() >= kMostRemembered) remembered_.clear();
      remembered_.insert_or_assign(process, Remembered{*mark, seen});
    }
  }
  seen.isCrawler = seen.isCrawler || (openFlags & O_NOATIME) != 0;
  return seen;
}

std::string programName(pid_t process) { return look(process).program; }

}  // namespace tovrin::host
