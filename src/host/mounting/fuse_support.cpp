#include "host/mounting/fuse_support.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <ranges>
#include <string>
#include <string_view>

#include "host/mounting/fusermount.h"
#include "platform/file_system.h"

namespace tovrin::host {

namespace {

constexpr const char* kDevice = "/dev/fuse";

/// A line of the configuration, with blanks around it.
bool isTheWord(std::string_view line) {
  constexpr std::string_view kWord = "user_allow_other";
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t start = line.find_first_not_of(kBlanks);
  return start != std::string_view::npos && line.substr(start, line.find_last_not_of(kBlanks) + 1 - start) == kWord;
}

}  // namespace

Result<void> checkMountingIsPossible() {
  constexpr const char* kOtherwise = " Without a mount, “tovrin ls”, “tovrin cat” and “tovrin fetch” do the same work.";
  if (access(kDevice, F_OK) != 0) {
    return failure(NSError::posix(
        ENODEV, std::string("This machine has no /dev/fuse: load the module with “modprobe fuse”, or let the "
                            "container it runs in have the device.") +
                    kOtherwise));
  }
  if (access(kDevice, R_OK | W_OK) != 0) {
    return failure(NSError::posix(
        EACCES, std::string("This user may not open /dev/fuse: its mode is usually 0666.") + kOtherwise));
  }
  if (geteuid() != 0 && !findFusermount()) {
    return failure(NSError::posix(
        ENOENT, std::string("Ordinary users mount with fusermount3, which is not installed: it is in the package "
                            "fuse3.") +
                    kOtherwise));
  }
  if (geteuid() != 0 && prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1) {
    return failure(NSError::posix(
        EPERM,
        "Ordinary users mount with fusermount3, which gets no rights here: whoever started this has switched on "
        "NoNewPrivileges, as many sandboxes and options of systemd do."));
  }
  return {};
}

bool ordinaryUsersMayShareMounts(const std::filesystem::path& configuration) {
  const auto contents = readWholeFile(configuration);
  if (!contents) return false;
  for (const auto line : std::views::split(contents->bytes, '\n')) {
    if (isTheWord(std::string_view(line.begin(), line.end()))) return true;
  }
  return false;
}

}  // namespace tovrin::host
