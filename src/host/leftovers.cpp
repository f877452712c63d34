#include "host/leftovers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "materialize/fetch_destination.h"
#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

namespace {

constexpr double kKeptSeconds = 24 * 60 * 60;
constexpr std::size_t kUUIDLength = 36;

bool isUUID(std::string_view text) {
  if (text.size() != kUUIDLength) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (isHyphen ? text[i] != '-' : std::string_view("0123456789ABCDEF").find(text[i]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

/// `prefix`, a UUID, `suffix`.
bool isNamed(std::string_view name, std::string_view prefix, std::string_view suffix) {
  return name.size() == prefix.size() + kUUIDLength + suffix.size() && name.starts_with(prefix) &&
         name.ends_with(suffix) && isUUID(name.substr(prefix.size(), kUUIDLength));
}

bool isDelivery(std::string_view name) {
  if (isNamed(name, ".", ".stored")) return true;
  return name.size() > kUUIDLength + 1 && name[kUUIDLength] == '.' && isUUID(name.substr(0, kUUIDLength));
}

bool isDecodedPayload(std::string_view name) { return isNamed(name, "tovrin-provider-", ".decoded"); }

bool isLeftover(const struct stat& status, Date now) {
  const FileIdentity identity = fileIdentity(status);
  const std::int64_t changed = std::max(identity.modificationTimeNanoseconds, identity.statusChangeTimeNanoseconds);
  return S_ISREG(status.st_mode) && status.st_uid == geteuid() && now - Date::fromNanoseconds(changed) > kKeptSeconds;
}

void findLeftovers(const std::filesystem::path& folder, bool (*isOurs)(std::string_view), Date now,
                   std::vector<std::filesystem::path>& found) {
  std::error_code error;
  // As the kernel names what is open.
  std::filesystem::directory_iterator entry(std::filesystem::canonical(folder, error), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    struct stat status;
    const std::filesystem::path& file = entry->path();
    if (!isOurs(file.filename().native()) || lstat(file.c_str(), &status) != 0) continue;
    if (isLeftover(status, now)) found.push_back(file);
  }
}

/// Of all processes that this user may look into. By name: to examine the file itself may wait for a file system that
/// hangs.
std::set<std::filesystem::path> openFiles() {
  std::set<std::filesystem::path> open;
  std::error_code error;
  std::filesystem::directory_iterator process("/proc", error);
  for (; !error && process != std::filesystem::directory_iterator(); process.increment(error)) {
    std::error_code hidden;
    std::filesystem::directory_iterator descriptor(process->path() / "fd", hidden);
    for (; !hidden && descriptor != std::filesystem::directory_iterator(); descriptor.increment(hidden)) {
      std::error_code gone;
      open.insert(std::filesystem::read_symlink(descriptor->path(), gone));
    }
  }
  return open;
}

}  // namespace

void sweepDeliveries(const Directories& directories, Date now) {
  std::vector<std::filesystem::path> leftovers;
  findLeftovers(directories.temporaryDirectory(), isDecodedPayload, now, leftovers);
  if (const auto deliveries = deliveryDirectory(directories)) {
    findLeftovers(*deliveries, isDelivery, now, leftovers);
  }
  if (leftovers.empty()) return;
  const std::set<std::filesystem::path> open = openFiles();
  for (const std::filesystem::path& leftover : leftovers) {
    if (!open.contains(leftover)) ::unlink(leftover.c_str());
  }
}

}  // namespace tovrin::host
