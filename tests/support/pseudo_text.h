#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tovrin {

/// Text of made-up words, some of them very often: the same on every machine.
std::string pseudoText(std::size_t size, std::uint64_t seed);

}  // namespace tovrin
