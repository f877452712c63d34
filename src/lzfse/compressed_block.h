#pragma once

#include <array>
#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"
#include "lzfse/input.h"
#include "lzfse/limits.h"
#include "lzfse/triplet_reader.h"
#include "lzfse/wide_copy.h"
#include "lzfse/window.h"

namespace tovrin::lzfse {

/// A block with either of the two compressed headers. Its literals are decoded at its start, its triplets as they are
/// run: the processor copies for one while it works out the next.
class CompressedBlock {
 public:
  /// `payload` is the literal payload and, right behind it, the triplet payload; the block's header lies in front of
  /// it. It must stay there until the block is finished. False for corrupt data.
  [[nodiscard]] bool start(const CompressedHeader& header, const Frequencies& frequencies, const std::uint8_t* payload);

  /// Gives output until the block is finished or there is no more room.
  Progress run(Window& window);

 private:
  /// Runs the triplets that there is room for as a whole. The first that there is none for becomes `cut_`.
  Progress runWhole(Window& window);
  template <class Bits>
  [[gnu::always_inline]] inline Progress runWhole(Window& window);
  /// Does what there is room for of `cut_`, and makes it smaller by that.
  void runCut(Window& window);

  TripletReader reader_;
  Triplet cut_{};
  std::uint32_t tripletsLeft_ = 0;
  std::uint32_t outputLeft_ = 0;
  const std::uint8_t* literal_ = nullptr;
  const std::uint8_t* literalsEnd_ = nullptr;
  TripletTables tables_;
  std::array<std::uint8_t, kMaxLiterals + kCopySlack> literals_;
};

}  // namespace tovrin::lzfse
