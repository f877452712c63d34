#pragma once

#include <cstdint>

namespace tovrin {

/// The user and group that this process runs as.
std::uint32_t currentUserID();
std::uint32_t currentGroupID();

}  // namespace tovrin
