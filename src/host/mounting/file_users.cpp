#include "host/mounting/file_users.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <ranges>
#include <string_view>

#include "host/crawlers.h"
#include "platform/file_system.h"

namespace tovrin::host {

namespace {

using std::filesystem::path;

/// Whether a link of /proc leads to the device, by what the kernel knows already.
bool leadsTo(const path& link, dev_t device) {
  struct statx status{};
  if (statx(AT_FDCWD, link.c_str(), AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT, 0, &status) != 0) return false;
  return makedev(status.stx_dev_major, status.stx_dev_minor) == device;
}

std::optional<path> usedThrough(const path& link, dev_t device) {
  if (!leadsTo(link, device)) return std::nullopt;
  std::error_code error;
  return std::filesystem::read_symlink(link, error);
}

std::optional<path> usedDescriptor(const path& process, dev_t device) {
  std::error_code error;
  for (const auto& descriptor : std::filesystem::directory_iterator(process / "fd", error)) {
    if (auto file = usedThrough(descriptor.path(), device)) return file;
  }
  return std::nullopt;
}

/// "7f5c2f600000-7f5c2f622000 r--p 00000000 fe:00 1234    /usr/lib/libc.so.6", the device in hexadecimal.
std::optional<path> usedMapping(const path& process, dev_t device) {
  const auto maps = readWholeFile(process / "maps");
  if (!maps) return std::nullopt;
  const std::string wanted = fmt::format(" {:02x}:{:02x} ", major(device), minor(device));
  for (const auto range : std::views::split(maps->bytes, '\n')) {
    const std::string_view line(range.begin(), range.end());
    const std::size_t file = line.find('/');
    if (file != std::string_view::npos && line.substr(0, file).find(wanted) != std::string_view::npos)
      return path(line.substr(file));
  }
  return std::nullopt;
}

std::optional<path> usedBy(const path& process, dev_t device) {
  for (const char* link : {"cwd", "exe", "root"}) {
    if (auto file = usedThrough(process / link, device)) return file;
  }
  if (auto file = usedDescriptor(process, device)) return file;
  return usedMapping(process, device);
}

std::optional<pid_t> processNumber(const path& folder) {
  const std::string name = folder.filename().string();
  pid_t number = 0;
  const char* end = name.data() + name.size();
  const auto parsed = std::from_chars(name.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

}  // namespace

std::vector<FileUser> usersOf(dev_t device) {
  std::vector<FileUser> users;
  std::error_code error;
  for (const auto& folder : std::filesystem::directory_iterator("/proc", error)) {
    const auto number = processNumber(folder.path());
    if (!number || *number == getpid()) continue;
    if (auto file = usedBy(folder.path(), device)) users.push_back({*number, programName(*number), *std::move(file)});
  }
  std::ranges::sort(users, {}, &FileUser::process);
  return users;
}

}  // namespace tovrin::host
