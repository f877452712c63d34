#include "host/control/control_folder.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace tovrin::host {

namespace {

constexpr std::string_view kFolderName = "tovrin";
constexpr std::string_view kSocketEnding = ".socket";

NSError notPrivate(const std::filesystem::path& path) {
  return NSError::posix(EPERM,
                        fmt::format("The folder “{}” is not this user’s own, or others can enter it.", path.native()));
}

}  // namespace

Result<ControlFolder> ControlFolder::make(const std::filesystem::path& path) {
  if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST)
    return failure(NSError::posix(errno, fmt::format("The folder “{}” cannot be made.", path.native())));
  return open(path);
}

Result<ControlFolder> ControlFolder::open(const std::filesystem::path& path) {
  ControlFolder folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (folder.descriptor_ < 0) return failure(NSError::posix(errno));
  struct stat status{};
  if (fstat(folder.descriptor_, &status) != 0) return failure(NSError::posix(errno));
  if (status.st_uid != geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) return failure(notPrivate(path));
  return folder;
}

std::vector<std::filesystem::path> ControlFolder::places(const Directories& directories) {
  // A mount that is started at boot has no session and sees no variable.
  const std::filesystem::path usual = std::filesystem::path("/run/user") / std::to_string(geteuid()) / kFolderName;
  const std::filesystem::path last = directories.temporaryDirectory() / fmt::format("{}-{}", kFolderName, geteuid());
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || *runtime != '/') return {usual, last};
  return {std::filesystem::path(runtime) / kFolderName, last, usual};
}

ControlFolder::ControlFolder(ControlFolder&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

ControlFolder::~ControlFolder() {
  if (descriptor_ >= 0) close(descriptor_);
}

std::filesystem::path ControlFolder::pathOf(const std::string& name) const {
  return fmt::format("/proc/self/fd/{}/{}", descriptor_, name);
}

std::vector<std::string> ControlFolder::socketNames() const {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& file : std::filesystem::directory_iterator(pathOf(""), error)) {
    std::string name = file.path().filename().native();
    if (name.ends_with(kSocketEnding)) names.push_back(std::move(name));
  }
  return names;
}

std::string ControlFolder::socketName(const std::string& domainKey) { return domainKey + std::string(kSocketEnding); }

}  // namespace tovrin::host
