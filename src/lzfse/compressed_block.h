#pragma once

#include <array>
#include <cstdint>

#include "lzfse/entropy.h"
#include "lzfse/input.h"
#include "lzfse/limits.h"
#include "lzfse/wide_copy.h"
#include "lzfse/window.h"

namespace tovrin::lzfse {

/// A block with either of the two compressed headers. Its bit streams are decoded as a whole at first, so that damage
/// in them is found before any output and nothing but literals and triplets has to survive a pause.
class CompressedBlock {
 public:
  /// `payload` is the literal payload and, right behind it, the triplet payload; the block's header lies in front of
  /// it. It is not needed afterwards. False for corrupt data.
  [[nodiscard]] bool start(const CompressedHeader& header, const Frequencies& frequencies, const std::uint8_t* payload);

  /// Gives output until the block is finished or there is no more room.
  Progress run(Window& window);

 private:
  /// Does what there is room for and makes the triplet smaller by that.
  static void runPart(Triplet& triplet, const std::uint8_t*& literal, Window& window);

  const Triplet* end_;
  Triplet* next_;
  const std::uint8_t* literal_;
  std::array<Triplet, kMaxTriplets> triplets_;
  std::array<std::uint8_t, kMaxLiterals + kCopySlack> literals_;
};

}  // namespace tovrin::lzfse
