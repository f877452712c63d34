#pragma once

#include <cstddef>
#include <string_view>

namespace tovrin {

/// Whether no whole character of `text` reaches across `offset`, which lies between two code points. Each system has
/// its own.
bool isCharacterBoundary(std::string_view text, std::size_t offset);

}  // namespace tovrin
