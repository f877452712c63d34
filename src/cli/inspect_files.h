#pragma once

#include <string>

#include "cli/outcome.h"

namespace tovrin::cli {

/// The calls of `inspect` that look at one file and at nothing else.
Outcome inspectManifest(const std::string& file);
Outcome inspectLZFSE(const std::string& file, const std::string& output);

}  // namespace tovrin::cli
