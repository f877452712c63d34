#pragma once

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/mount.h"

/// The words of `-o`: those of this system, those that the kernel and libfuse understand, and those that fstab and
/// mount(8) write for themselves.
namespace tovrin::host {

/// The options of a list that is separated by commas. A backslash takes the special meaning off what follows it.
std::vector<std::string> splitMountOptions(std::string_view list);

struct OptionComplaint {
  bool isUnknown = false;  ///< there is no such option; nothing is wrong with its value
  std::string message;     ///< for the user, without a full stop
};

/// Notes one option, "name" or "name=value", in `request`; later ones win. `cacheFolder` (it need not exist) tells on
/// which disk room is to be kept.
std::expected<void, OptionComplaint> applyMountOption(std::string_view option, const std::filesystem::path& cacheFolder,
                                                      MountRequest& request);

/// The request asks the kernel to let others than the mounting user in.
bool isShared(const MountRequest& request);
/// It asks libfuse to print every request.
bool isDebugging(const MountRequest& request);

}  // namespace tovrin::host
