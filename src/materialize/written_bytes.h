#pragma once

#include <cstdint>
#include <functional>

namespace tovrin {

/// Told by who writes a file front to back: that its first `end` bytes will not change any more.
using WrittenBytes = std::function<void(std::int64_t end)>;

}  // namespace tovrin
