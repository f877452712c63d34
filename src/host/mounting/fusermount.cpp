#include "host/mounting/fusermount.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ranges>
#include <string>
#include <string_view>

namespace tovrin::host {

namespace {

using std::filesystem::path;

struct Ended {
  int status = 0;  ///< as waitpid tells it
  std::string errorOutput;
};

std::string readToEnd(int descriptor) {
  std::string text;
  std::array<char, 1024> bytes{};
  while (true) {
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(bytes.data(), static_cast<std::size_t>(count));
  }
}

/// Runs a program to its end and keeps what it writes to standard error.
Result<Ended> runToEnd(std::vector<std::string> words) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return failure(NSError::posix(errno));
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  pid_t child = -1;
  const int failed = posix_spawn(&child, words.front().c_str(), &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  Ended ended;
  if (failed == 0) ended.errorOutput = readToEnd(ends[0]);
  close(ends[0]);
  if (failed != 0) return failure(NSError::posix(failed));
  while (waitpid(child, &ended.status, 0) < 0 && errno == EINTR) {
  }
  return ended;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  return std::string(text.substr(start, text.find_last_not_of(kBlanks) - start + 1));
}

Result<void> unmountByHelper(const path& mountpoint, UnmountMode mode) {
  const auto program = findFusermount();
  if (!program) return failure(NSError::posix(EPERM));
  const std::string option = mode == UnmountMode::lazily ? "-uz" : "-u";
  TOVRIN_TRY(const Ended ended, runToEnd({program->string(), option, "--", mountpoint.string()}));
  if (ended.status == 0) return {};
  // The helper has one exit status for every failure.
  const int reason = ended.errorOutput.find("busy") != std::string::npos ? EBUSY : EPERM;
  return failure(NSError::posix(reason, trimmed(ended.errorOutput)));
}

}  // namespace

std::optional<path> findFusermount() {
  const path usual = "/usr/bin/fusermount3";
  if (access(usual.c_str(), X_OK) == 0) return usual;
  const char* folders = std::getenv("PATH");
  for (const auto folder : std::views::split(std::string_view(folders == nullptr ? "" : folders), ':')) {
    const path program = path(folder.begin(), folder.end()) / "fusermount3";
    if (access(program.c_str(), X_OK) == 0) return program;
  }
  return std::nullopt;
}

Result<void> takeOffMountpoint(const path& mountpoint, UnmountMode mode) {
  const int flags = UMOUNT_NOFOLLOW | (mode == UnmountMode::lazily ? MNT_DETACH : 0);
  if (umount2(mountpoint.c_str(), flags) == 0) return {};
  if (errno != EPERM) return failure(NSError::posix(errno));
  return unmountByHelper(mountpoint, mode);
}

}  // namespace tovrin::host
