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
/// The text as a part of one option of such a list.
std::string escapedMountOption(std::string_view text);

/// What every mount asks for: the type and the source that the system shows, which options may replace.
MountRequest usualMountRequest();

struct OptionComplaint {
  std::string name;     ///< of the option
  std::string message;  ///< what is wrong with its value, for the user; empty when there is no such option
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
