#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "foundation/result.h"

namespace tovrin {

/// Makes a link whose target is the text as it stands, in place of whatever is at `destination`. Without a target, or
/// with an empty one: the not-on-demand error.
Result<void> makeSymlink(const std::filesystem::path& destination, std::optional<std::string_view> target);

}  // namespace tovrin
