#pragma once

#include <cstdint>

#include "lzfse/block_header.h"
#include "lzfse/fse_table.h"

/// The two bit streams of a compressed block, each decoded in one go.
namespace tovrin::lzfse {

/// First `literals` bytes from the block's literals, then `match` bytes from `distance` bytes back. The distance of a
/// triplet that repeats the one before it is filled in; it is 0 where there is none to repeat.
struct Triplet {
  std::uint16_t literals;
  std::uint16_t match;
  std::uint32_t distance;
};

/// Writes `header.literals` bytes. False for corrupt data. The 8 bytes in front of the payload must be readable.
[[nodiscard]] bool decodeLiterals(const CompressedHeader& header, const LiteralTable& table,
                                  const std::uint8_t* payload, std::uint8_t* literals);

/// Writes `header.triplets` triplets that use no more literals than the block has and give exactly as many bytes as it
/// announces. False for corrupt data. The 8 bytes in front of the payload must be readable.
[[nodiscard]] bool decodeTriplets(const CompressedHeader& header, const TripletTables& tables,
                                  const std::uint8_t* payload, Triplet* triplets);

}  // namespace tovrin::lzfse
