#include "platform/directories.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace tovrin {

namespace {

using std::filesystem::path;

/// The value of a variable that holds an absolute path; relative ones count as unset, as the base-directory rules say.
std::optional<path> absolutePathVariable(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value != '/') return std::nullopt;
  return path(value);
}

std::optional<path> homeOfUserRecord() {
  std::string buffer(16384, '\0');
  passwd record{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return std::nullopt;
  if (found->pw_dir == nullptr || *found->pw_dir != '/') return std::nullopt;
  return path(found->pw_dir);
}

std::optional<path> homeDirectory() {
  if (auto home = absolutePathVariable("HOME")) return home;
  return homeOfUserRecord();
}

std::optional<path> baseDirectory(const char* variable, const char* belowHome) {
  if (auto directory = absolutePathVariable(variable)) return directory;
  if (const auto home = homeDirectory()) return *home / belowHome;
  return std::nullopt;
}

/// A process that becomes a daemon leaves its working directory, so a relative container is made absolute here.
std::optional<path> absoluteContainer(std::optional<path> container) {
  if (!container || container->empty()) return std::nullopt;
  std::error_code error;
  path absolute = std::filesystem::absolute(*container, error);
  return error ? container : std::optional(std::move(absolute));
}

class LinuxDirectories final : public Directories {
 public:
  explicit LinuxDirectories(std::optional<path> container)
      : container_(absoluteContainer(std::move(container))),
        applicationSupport_(baseDirectory("XDG_DATA_HOME", ".local/share")),
        state_(baseDirectory("XDG_STATE_HOME", ".local/state")),
        cache_(baseDirectory("XDG_CACHE_HOME", ".cache")),
        temporary_(absolutePathVariable("TMPDIR").value_or("/tmp")) {}

  std::optional<path> appGroupContainer() const override { return container_; }
  std::optional<path> applicationSupport() const override { return applicationSupport_; }
  std::optional<path> localState() const override { return state_; }
  std::optional<Result<path>> providerTemporaryDirectory() const override {
    if (!cache_) return Result<path>(failure(NSError::cocoa(CocoaErrorCode::fileNoSuchFile)));
    return Result<path>(*cache_ / "tovrin");
  }
  path temporaryDirectory() const override { return temporary_; }

 private:
  const std::optional<path> container_;
  const std::optional<path> applicationSupport_;
  const std::optional<path> state_;
  const std::optional<path> cache_;
  const path temporary_;
};

}  // namespace

std::unique_ptr<Directories> makeDirectories(std::optional<path> appGroupContainer) {
  return std::make_unique<LinuxDirectories>(std::move(appGroupContainer));
}

}  // namespace tovrin
