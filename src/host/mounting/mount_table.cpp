#include "host/mounting/mount_table.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <ranges>

#include "platform/file_system.h"

namespace tovrin::host {

namespace {

constexpr int kPatienceMilliseconds = 2000;
constexpr int kAlive = 0;
constexpr int kDead = 1;

bool isOctal(char character) { return character >= '0' && character <= '7'; }

/// The kernel writes blanks, tabs, line ends and backslashes as a backslash with three octal digits.
std::string unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && std::ranges::all_of(text.substr(i + 1, 3), isOctal)) {
      result += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0'));
      i += 3;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> words;
  for (const auto word : std::views::split(text, separator)) words.emplace_back(word.begin(), word.end());
  return words;
}

std::optional<dev_t> parseDevice(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  unsigned major = 0;
  unsigned minor = 0;
  const char* end = text.data() + text.size();
  if (std::from_chars(text.data(), text.data() + colon, major).ptr != text.data() + colon) return std::nullopt;
  if (std::from_chars(text.data() + colon + 1, end, minor).ptr != end) return std::nullopt;
  return makedev(major, minor);
}

/// "36 35 98:0 /root /mountpoint options [more fields] - type source options"
std::optional<MountedFileSystem> parseLine(std::string_view line) {
  const std::vector<std::string_view> words = split(line, ' ');
  const auto separator = std::ranges::find(words, "-");
  if (separator - words.begin() < 6 || words.end() - separator < 3) return std::nullopt;
  const auto device = parseDevice(words[2]);
  if (!device) return std::nullopt;
  return MountedFileSystem{*device, unescaped(words[4]), unescaped(separator[1]), unescaped(separator[2])};
}

}  // namespace

bool isTovrin(const MountedFileSystem& mounted) {
  return mounted.type == "fuse.tovrin" || (mounted.type.starts_with("fuse") && mounted.source == "tovrin");
}

std::vector<MountedFileSystem> parseMountInfo(std::string_view text) {
  std::vector<MountedFileSystem> all;
  for (const std::string_view line : split(text, '\n')) {
    if (auto mounted = parseLine(line)) all.push_back(*std::move(mounted));
  }
  return all;
}

Result<std::vector<MountedFileSystem>> mountedFileSystems() {
  TOVRIN_TRY(const FileContents contents, readWholeFile("/proc/self/mountinfo"));
  return parseMountInfo(contents.bytes);
}

std::optional<MountedFileSystem> mountedAt(const std::vector<MountedFileSystem>& all,
                                           const std::filesystem::path& mountpoint) {
  const auto last = std::ranges::find(all.rbegin(), all.rend(), mountpoint, &MountedFileSystem::mountpoint);
  return last == all.rend() ? std::nullopt : std::optional(*last);
}

dev_t deviceMountedAt(const std::filesystem::path& mountpoint) {
  const auto all = mountedFileSystems();
  const auto mounted = all ? mountedAt(*all, mountpoint) : std::nullopt;
  return mounted ? mounted->device : 0;
}

bool isDead(const std::filesystem::path& mountpoint) {
  // Only a process of its own can be left waiting for a file system that never answers.
  const pid_t asker = fork();
  if (asker == 0) {
    struct statfs status{};  // never answered from what the kernel remembers, as stat(2) is
    _exit(statfs(mountpoint.c_str(), &status) != 0 && errno == ENOTCONN ? kDead : kAlive);
  }
  if (asker < 0) return false;
  const int process = static_cast<int>(syscall(SYS_pidfd_open, asker, 0));
  pollfd ended{process, POLLIN, 0};
  poll(&ended, 1, kPatienceMilliseconds);
  close(process);
  kill(asker, SIGKILL);
  int status = 0;
  waitpid(asker, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == kDead;
}

}  // namespace tovrin::host
