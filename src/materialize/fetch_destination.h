#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "foundation/result.h"
#include "platform/directories.h"

namespace tovrin {

/// Where files are delivered: "TovrinFileProvider" in the provider's temporary directory; not made here. Without a
/// provider manager: the not-reachable error; its own errors are passed on.
Result<std::filesystem::path> deliveryDirectory(const Directories& directories);

/// A fresh place for a delivered file: a UUID with the entry's file-name extension, or "warp", in the delivery
/// directory, which is made.
Result<std::filesystem::path> chooseDestination(const Directories& directories, std::string_view relativePath);

/// The extension of a delivered file: "warp" where the entry's name has none that a file name can carry.
std::string deliveredExtension(std::string_view relativePath);

}  // namespace tovrin
