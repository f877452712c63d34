#pragma once

#include <filesystem>
#include <string>

#include "foundation/result.h"

namespace tovrin::worker {

/// The first line of the file; for an empty path the variable TOVRIN_WORKER_PASSWORD. A password never comes from the
/// command line, which every user of the machine can see.
Result<std::string> readPassword(const std::filesystem::path& file);

}  // namespace tovrin::worker
