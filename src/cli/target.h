#pragma once

#include <filesystem>

#include "foundation/result.h"

namespace tovrin::cli {

enum class Delivery { file, symbolicLink };

/// Where something that is delivered goes.
struct Target {
  std::filesystem::path path;
  bool isStream = false;  ///< a device, pipe or socket: written to, never replaced
};

/// What `path` means for a delivery, and the error that it would meet there: a folder that is missing or takes no new
/// file, another folder in the place, a link for a device. Changes nothing. A link is followed for a file; a symbolic
/// link takes the place of another link, but not of one that names an open descriptor, as /dev/stdout does.
Result<Target> resolveTarget(const std::filesystem::path& path, Delivery delivery);

}  // namespace tovrin::cli
