#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/input.h"
#include "lzfse/limits.h"
#include "lzfse/lzvn_opcode.h"
#include "lzfse/window.h"

namespace tovrin::lzfse {

/// A block of byte-wise opcodes. It is run as its bytes come in: nothing says that it is small.
class LZVNBlock {
 public:
  void start(const LZVNHeader& header);
  Progress run(Input& input, Window& window);

 private:
  /// Runs opcodes as long as there is input and room for the largest. Stops in front of the end, of a corrupt opcode,
  /// and of literals that no match came before.
  void runWhole(Input& input, Window& window);
  /// Does what there is input and room for of the opcode in hand. False when something of it is left.
  bool finishOpcode(Input& input, Window& window);
  /// The bytes of the next opcode, or null when the input ends within them.
  const std::uint8_t* nextOpcode(std::size_t size, Input& input);

  std::uint32_t payloadLeft_;  ///< input bytes that are not read or spoken for yet
  std::uint32_t outputLeft_;
  LZVNStep step_;                                      ///< what is left of the opcode in hand
  std::array<std::uint8_t, kLZVNEndMarkerBytes> cut_;  ///< the first bytes of an opcode that the input ended in
  std::size_t cutBytes_;
};

}  // namespace tovrin::lzfse
