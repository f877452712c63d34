#pragma once

#include <cstddef>
#include <cstdint>

namespace tovrin::lzfse {

/// The compressed bytes that the caller offers in one call. What is taken is gone.
struct Input {
  const std::uint8_t* next;
  std::size_t size;

  const std::uint8_t* take(std::size_t count) {
    const std::uint8_t* taken = next;
    next += count;
    size -= count;
    return taken;
  }
};

/// Why a block stopped.
enum class Progress {
  suspended,  ///< more input or more room is needed
  finished,   ///< the block is complete
  corrupt,
};

}  // namespace tovrin::lzfse
