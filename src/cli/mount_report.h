#pragma once

#include <functional>
#include <string>

#include "cli/json_output.h"
#include "host/control/mount_control.h"

namespace tovrin::cli {

/// How a file that is being opened is shown, without a line end.
using OpeningText = std::function<std::string(const host::MountStatus::Opening&)>;

/// In words: "a.jpg: 42% of 3.0 MiB".
std::string openingText(const host::MountStatus::Opening& opening);

/// What a running mount does, in lines. Its problems are not among them.
std::string mountText(const host::MountStatus& mount, const OpeningText& opening);
void writeMount(JSONWriter& writer, const host::MountStatus& mount);

}  // namespace tovrin::cli
