#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "lzfse/backward_bit_reader.h"
#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"

namespace tovrin::lzfse {

/// First `literals` bytes from the block's literals, then `match` bytes from `distance` bytes back.
struct Triplet {
  std::size_t literals = 0;
  std::size_t match = 0;
  std::size_t distance = 0;  ///< that of the triplet before where it is to be repeated

  std::size_t bytes() const { return literals + match; }
};

/// What is repeated when there is no distance yet: further back than any output.
inline constexpr std::size_t kNoDistance = std::numeric_limits<std::size_t>::max();

/// Reads the triplets of a block, one after the other, from a payload with room around it (`BackwardBitReader`).
class TripletReader {
 public:
  /// Has nothing to read; to be assigned to.
  TripletReader() = default;
  TripletReader(const CompressedHeader& header, const std::uint8_t* payload)
      : reader_(payload, header.tripletPayloadBytes, header.tripletUnusedBits),
        literalRunState_(header.literalRunState),
        matchLengthState_(header.matchLengthState),
        distanceState_(header.distanceState) {}

  /// False when there are too few bits left.
  template <class Bits>
  [[nodiscard, gnu::always_inline]] bool read(const TripletTables& tables, Triplet& triplet) {
    const ValueEntry& literals = tables.literalRuns[literalRunState_];
    const ValueEntry& match = tables.matchLengths[matchLengthState_];
    const ValueEntry& distance = tables.distances[distanceState_];
    // The next triplet waits for nothing as long as for these, so they come first.
    const std::uint64_t literalsBits = literals.bits;
    const std::uint64_t matchBits = match.bits;
    const std::uint64_t distanceBits = distance.bits;
    BackwardBitReader::Next next = reader_.next();
    if (!reader_.skip(literalsBits + (matchBits + distanceBits))) return false;
    triplet.literals = value<Bits>(next.take<Bits>(literalsBits), literals, literalRunState_);
    triplet.match = value<Bits>(next.take<Bits>(matchBits), match, matchLengthState_);
    const std::uint64_t newDistance = value<Bits>(next.take<Bits>(distanceBits), distance, distanceState_);
    if (newDistance != 0) distance_ = newDistance;
    triplet.distance = distance_;
    return true;
  }

 private:
  template <class Bits>
  [[gnu::always_inline]] static std::uint64_t value(std::uint64_t bits, const ValueEntry& entry, std::uint64_t& state) {
    state = entry.delta + (bits >> entry.extra);
    return entry.base + Bits::lowest(bits, entry.extra);
  }

  BackwardBitReader reader_;
  std::uint64_t literalRunState_ = 0;
  std::uint64_t matchLengthState_ = 0;
  std::uint64_t distanceState_ = 0;
  std::size_t distance_ = kNoDistance;
};

}  // namespace tovrin::lzfse
