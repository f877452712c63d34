#pragma once

#include <cstddef>
#include <cstdint>

#include "lzfse/backward_bit_reader.h"
#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"

namespace tovrin::lzfse {

/// First `literals` bytes from the block's literals, then `match` bytes from `distance` bytes back.
struct Triplet {
  std::uint32_t literals;
  std::uint32_t match;
  std::uint32_t distance;  ///< that of the triplet before where it is to be repeated; 0 when there is none yet

  std::size_t bytes() const { return std::size_t{literals} + match; }
};

/// Reads the triplets of a block, one after the other. The 8 bytes in front of the payload must be readable.
class TripletReader {
 public:
  /// Has nothing to read; to be assigned to.
  TripletReader() = default;
  TripletReader(const CompressedHeader& header, const std::uint8_t* payload)
      : reader_(payload, header.tripletPayloadBytes, header.tripletUnusedBits),
        literalRunState_(header.literalRunState),
        matchLengthState_(header.matchLengthState),
        distanceState_(header.distanceState) {}

  /// False when there are no bits left. Some that are none of the payload's may have been read before that: `overrun`.
  [[nodiscard]] bool read(const TripletTables& tables, Triplet& triplet) {
    if (!reader_.refill()) return false;
    triplet.literals = readValue(tables.literalRuns, literalRunState_);
    triplet.match = readValue(tables.matchLengths, matchLengthState_);
    const std::uint32_t distance = readValue(tables.distances, distanceState_);
    if (distance != 0) distance_ = distance;
    triplet.distance = distance_;
    return true;
  }

  bool overrun() const { return reader_.overrun(); }

 private:
  template <std::size_t states>
  std::uint32_t readValue(const std::array<ValueEntry, states>& table, std::uint32_t& state) {
    const ValueEntry& entry = table[state];
    const auto bits = static_cast<std::uint32_t>(reader_.take(entry.bits)) & entry.mask;
    state = entry.delta + (bits >> entry.extra);
    return entry.base + (bits & entry.extraMask);
  }

  BackwardBitReader reader_;
  std::uint32_t literalRunState_ = 0;
  std::uint32_t matchLengthState_ = 0;
  std::uint32_t distanceState_ = 0;
  std::uint32_t distance_ = 0;
};

}  // namespace tovrin::lzfse
