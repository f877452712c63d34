#pragma once

#include <cstdint>
#include <string>

namespace tovrin {

/// "812 bytes", "1.5 MiB".
std::string readableSize(std::int64_t bytes);

}  // namespace tovrin
