#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/input.h"
#include "lzfse/window.h"

namespace tovrin::lzfse {

/// A block of byte-wise opcodes. It is run as its bytes come in: nothing says that it is small.
class LZVNBlock {
 public:
  void start(const LZVNHeader& header);
  Progress run(Input& input, Window& window);

 private:
  /// Does what is left of the opcode in hand. False when input or room ran out before its end.
  bool finishOpcode(Input& input, Window& window);
  /// The bytes of the next opcode, or null when the input ends within them.
  const std::uint8_t* nextOpcode(std::size_t size, Input& input);

  std::uint32_t payloadLeft_;  ///< input bytes that are not read or spoken for yet
  std::uint32_t outputLeft_;
  std::uint32_t distance_;  ///< of the latest match; 0 before the first
  std::uint32_t literalsLeft_;
  std::uint32_t matchLeft_;
  std::array<std::uint8_t, 8> cut_;  ///< the first bytes of an opcode that the input ended in
  std::size_t cutBytes_;
};

}  // namespace tovrin::lzfse
