#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace tovrin::host {

/// Bytes: "4096", "1.5G", "10 GiB" (powers of 1024), "10GB" (powers of 1000). Nothing for anything else, and for what
/// no disk holds.
std::optional<std::int64_t> parseSize(std::string_view text);

}  // namespace tovrin::host
